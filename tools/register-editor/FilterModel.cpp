#include "FilterModel.h"

#include <qt/RegisterModel.h>

#include <QFont>

namespace registerEditor {

using utils::properties::RegisterModel;

FilterModel::FilterModel(QObject *parent) : QSortFilterProxyModel(parent) {
    setRecursiveFilteringEnabled(true);
}

void FilterModel::setText(const QString &text) {
    _text = text;
    invalidateFilter();
}

void FilterModel::setModifiedOnly(bool isOn) {
    _modifiedOnly = isOn;
    invalidateFilter();
}

QVariant FilterModel::data(const QModelIndex &index, int role) const {
    if (role != Qt::FontRole || !data(index, RegisterModel::ModifiedRole).toBool())
        return QSortFilterProxyModel::data(index, role);
    QFont font;
    font.setBold(true);
    return font;
}

/// Groups are shown for the members that are accepted; without a search also when they are empty.
bool FilterModel::filterAcceptsRow(int row, const QModelIndex &parent) const {
    const QModelIndex name = sourceModel()->index(row, RegisterModel::NameColumn, parent);
    if (name.data(RegisterModel::IsGroupRole).toBool())
        return _text.isEmpty() && !_modifiedOnly;
    if (_modifiedOnly && !name.data(RegisterModel::ModifiedRole).toBool())
        return false;
    if (_text.isEmpty())
        return true;
    const QModelIndex value = name.siblingAtColumn(RegisterModel::ValueColumn);
    return name.data(RegisterModel::PathRole).toString().contains(_text, Qt::CaseInsensitive) ||
           value.data().toString().contains(_text, Qt::CaseInsensitive);
}

} // namespace registerEditor
