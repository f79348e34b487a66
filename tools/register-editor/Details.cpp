#include "Details.h"

#include "WrappedLabel.h"

#include <qt/ValueVariant.h>

#include <QHeaderView>
#include <QTableWidget>
#include <QVBoxLayout>

namespace registerEditor {

using utils::properties::RegisterModel;

namespace {

QString scopeName(RegisterScope scope) {
    return scope == utils::properties::GlobalScope ? Details::tr("global") : Details::tr("user");
}

} // namespace

Details::Details()
    : _heading(new WrappedLabel(Qt::RichText)), _showsThrough(new WrappedLabel),
      _scopes(new QTableWidget(0, 3)) {
    _scopes->setHorizontalHeaderLabels({tr("Scope"), tr("Value"), tr("File")});
    _scopes->verticalHeader()->hide();
    _scopes->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    _scopes->setEditTriggers(QAbstractItemView::NoEditTriggers);
    _scopes->setSelectionMode(QAbstractItemView::NoSelection);
    _scopes->setFocusPolicy(Qt::NoFocus);
    _scopes->setMaximumHeight(120);
    auto *column = new QVBoxLayout(this);
    for (QWidget *part : std::initializer_list<QWidget *>{_heading, _scopes, _showsThrough})
        column->addWidget(part);
    showNothing();
}

void Details::showNothing() {
    _heading->setText(tr("Nothing is selected."));
    _scopes->setRowCount(0);
    _showsThrough->clear();
}

void Details::showName(const RegisterModel &model, const FileSource &source, const QModelIndex &at,
                       RegisterScope edited) {
    showNothing();
    const QString path = at.data(RegisterModel::PathRole).toString();
    _heading->setText(QStringLiteral("<b>%1</b>").arg(path.toHtmlEscaped()));
    if (at.data(RegisterModel::IsGroupRole).toBool()) {
        const Content inside = registerctl::contentOf(source.file(edited), path.toStdString());
        _showsThrough->setText(
            tr("A reset removes all that the file of the scope %1 has here; it has %n value(s).",
               nullptr, static_cast<int>(inside.size()))
                .arg(scopeName(edited)));
        return;
    }
    const auto from = model.origin(at);
    for (const RegisterScope scope : source.scopes()) {
        const PropertyValue value = model.value(at, scope);
        const QString text = utils::properties::displayText(value);
        const bool isThere = !std::holds_alternative<std::monostate>(value);
        addScope(source, scope,
                 !isThere        ? tr("(nothing)")
                 : scope == from ? text
                                 : tr("%1 (hidden)").arg(text));
    }
    _scopes->resizeColumnToContents(2);
    if (edited == utils::properties::UserScope && at.data(RegisterModel::ModifiedRole).toBool() &&
        source.scopes().size() > 1) {
        const PropertyValue below = model.value(at, utils::properties::GlobalScope);
        _showsThrough->setText(
            std::holds_alternative<std::monostate>(below)
                ? tr("A reset removes it; the application then uses its default.")
                : tr("A reset shows the global value: %1")
                      .arg(utils::properties::displayText(below)));
    }
}

void Details::addScope(const FileSource &source, RegisterScope scope, const QString &value) {
    const int row = _scopes->rowCount();
    _scopes->insertRow(row);
    int column = 0;
    for (const QString &text :
         {scopeName(scope), value, QString::fromStdString(source.path(scope))})
        _scopes->setItem(row, column++, new QTableWidgetItem(text));
}

} // namespace registerEditor
