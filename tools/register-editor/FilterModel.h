#pragma once

#include <QSortFilterProxyModel>

namespace registerEditor {

/// The rows of a register whose name or value holds a text, with the groups above them. What the
/// user has changed is bold.
class FilterModel : public QSortFilterProxyModel {
    Q_OBJECT

public:
    explicit FilterModel(QObject *parent = nullptr);

    void setText(const QString &text);
    void setModifiedOnly(bool isOn);

    QVariant data(const QModelIndex &index, int role) const override;

protected:
    bool filterAcceptsRow(int row, const QModelIndex &parent) const override;

private:
    QString _text;
    bool _modifiedOnly = false;
};

} // namespace registerEditor
