#include "ValueDelegate.h"

#include "../registerctl/Dump.h"
#include "../registerctl/Literal.h"

#include <qt/ValueVariant.h>

#include <QComboBox>
#include <QLineEdit>
#include <QSortFilterProxyModel>
#include <QSpinBox>
#include <QValidator>

#include <limits>
#include <stdexcept>

namespace registerEditor {

using utils::properties::RegisterFile;
using utils::properties::RegisterModel;

PropertyValue shownValue(const QModelIndex &index, RegisterScope preferred) {
    QModelIndex source = index;
    const QAbstractItemModel *model = index.model();
    while (const auto *proxy = qobject_cast<const QAbstractProxyModel *>(model)) {
        source = proxy->mapToSource(source);
        model = proxy->sourceModel();
    }
    const auto *reg = qobject_cast<const RegisterModel *>(model);
    const PropertyValue value = reg->value(source, preferred);
    const auto from = reg->origin(source);
    return !from || value != PropertyValue() ? value : reg->value(source, *from);
}

namespace {

/// True for a string in UTF-8, which is edited as it is.
bool isText(const PropertyValue &value) {
    const auto *text = std::get_if<std::string>(&value);
    return text && QString::fromStdString(*text).toStdString() == *text;
}

// An editor remembers the text that it was given, and the type of the value.
constexpr char shownText[] = "shownText", shownType[] = "shownType";

QString textOf(const QWidget *editor) {
    if (const auto *choice = qobject_cast<const QComboBox *>(editor))
        return choice->currentText();
    if (const auto *box = qobject_cast<const QSpinBox *>(editor))
        return box->text();
    return qobject_cast<const QLineEdit *>(editor)->text();
}

void setText(QWidget *editor, const QString &text) {
    if (auto *choice = qobject_cast<QComboBox *>(editor))
        choice->setCurrentText(text);
    else if (auto *box = qobject_cast<QSpinBox *>(editor))
        box->setValue(text.toInt());
    else
        qobject_cast<QLineEdit *>(editor)->setText(text);
}

/// Keeps an editor open as long as its text is not a value of the type.
class ValueValidator : public QValidator {
public:
    ValueValidator(const ValueDelegate &delegate, PropertyValue like, QObject *parent)
        : QValidator(parent), _delegate(delegate), _like(std::move(like)) {}

    State validate(QString &text, int &) const override {
        return reason(text).isEmpty() ? Acceptable : Intermediate;
    }
    /// Called when the user ends an edit that is not acceptable.
    void fixup(QString &text) const override { emit _delegate.message(reason(text)); }

private:
    QString reason(const QString &text) const {
        try {
            valueOf(text, _like);
        } catch (const std::exception &error) {
            return QString::fromUtf8(error.what());
        }
        return {};
    }

    const ValueDelegate &_delegate;
    const PropertyValue _like;
};

} // namespace

QString editableText(const PropertyValue &value) {
    return QString::fromStdString(isText(value) ? std::get<std::string>(value)
                                                : registerctl::toLiteral(value));
}

PropertyValue valueOf(const QString &text, const PropertyValue &like) {
    if (isText(like))
        return text.toStdString();
    RegisterFile scratch = registerctl::scratchFile();
    registerctl::writeLiteral(scratch, "value", text.trimmed().toStdString());
    PropertyValue value = scratch.readAny("value");
    if (std::holds_alternative<double>(like) && std::holds_alternative<int>(value))
        value = double(std::get<int>(value)); // 5 for 5.0
    if (value.index() != like.index())
        throw std::runtime_error(QStringLiteral("%1 is not a value of the type %2.")
                                     .arg(text, utils::properties::typeText(like))
                                     .toStdString());
    return value;
}

QWidget *ValueDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &,
                                     const QModelIndex &index) const {
    const PropertyValue value = shownValue(index, _scope);
    if (std::holds_alternative<int>(value)) {
        auto *box = new QSpinBox(parent);
        box->setRange(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
        return box;
    }
    if (std::holds_alternative<bool>(value)) {
        auto *box = new QComboBox(parent);
        box->addItems({QStringLiteral("true"), QStringLiteral("false")});
        return box;
    }
    auto *line = new QLineEdit(parent);
    line->setMaxLength(std::numeric_limits<int>::max());
    if (!isText(value))
        line->setValidator(new ValueValidator(*this, value, line));
    return line;
}

void ValueDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const {
    const PropertyValue value = shownValue(index, _scope);
    const QVariant shown = editor->property(shownText);
    const QString text = editableText(value);
    if (!shown.isValid()) {
        editor->setProperty(shownType, static_cast<int>(value.index()));
    } else if (shown.toString() != text) {
        emit message(tr("Another program has changed %1 to %2.")
                         .arg(index.data(RegisterModel::PathRole).toString(), text.left(100)));
        if (textOf(editor) != shown.toString() || editor->property(shownType) != int(value.index()))
            return;
    }
    setText(editor, text);
    editor->setProperty(shownText, textOf(editor));
}

void ValueDelegate::setModelData(QWidget *editor, QAbstractItemModel *,
                                 const QModelIndex &index) const {
    const PropertyValue before = shownValue(index, _scope);
    const QString path = index.data(RegisterModel::PathRole).toString();
    const QString text = textOf(editor);
    if (text == editor->property(shownText).toString())
        return;
    if (editor->property(shownType) != static_cast<int>(before.index()))
        return emit message(tr("%1 has another type now.").arg(path));
    try {
        emit edited(path, valueOf(text, before));
    } catch (const std::exception &error) {
        emit message(QString::fromUtf8(error.what()));
    }
}

QSize ValueDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const {
    constexpr int frame = 6;
    return QStyledItemDelegate::sizeHint(option, index) + QSize(0, frame);
}

} // namespace registerEditor
