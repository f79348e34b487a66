#pragma once

#include <qt/RegisterModel.h>

#include <QStyledItemDelegate>

#include <optional>

namespace registerEditor {

using utils::properties::PropertyValue;
using utils::properties::RegisterScope;

/// A value as the editors of text show it: text itself, everything else as a literal.
QString editableText(const PropertyValue &value);
/// The value of such a text, of the same type as `like`. Throws `std::exception` with the reason.
PropertyValue valueOf(const QString &text, const PropertyValue &like);
/// The value that a row shows, of any model above a `RegisterModel` that passes its roles on; the
/// one of `preferred` if that scope has one.
PropertyValue shownValue(const QModelIndex &index, RegisterScope preferred);

/// Edits each type in its own way. Does not write: `edited` tells the value. What the user has
/// typed stays when another program changes the property meanwhile.
class ValueDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    /// The scope that is edited; at first that of the user.
    void setScope(RegisterScope scope) { _scope = scope; }

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model,
                      const QModelIndex &index) const override;
    /// Leaves room for the frame of an editor.
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

signals:
    void edited(const QString &path, const PropertyValue &value) const;
    /// A value was refused, or changed by another program while it is edited.
    void message(const QString &text) const;

private:
    RegisterScope _scope = utils::properties::UserScope;
};

} // namespace registerEditor

Q_DECLARE_METATYPE(utils::properties::PropertyValue)
