#include "NewPropertyDialog.h"

#include "../registerctl/Literal.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>

namespace registerEditor {

using utils::properties::PropertyValue;

namespace {

const std::vector<PropertyValue> &emptyValues() {
    static const std::vector<PropertyValue> values = {std::string(),
                                                      0.0,
                                                      0,
                                                      false,
                                                      std::vector<std::string>(),
                                                      std::vector<double>(),
                                                      std::vector<int>(),
                                                      std::vector<bool>()};
    return values;
}

} // namespace

NewPropertyDialog::NewPropertyDialog(const QString &group, QWidget *parent)
    : QDialog(parent), _name(new QLineEdit(group.isEmpty() ? group : group + u'/')),
      _type(new QComboBox) {
    setWindowTitle(tr("New Property"));
    for (const PropertyValue &value : emptyValues())
        _type->addItem(QString::fromStdString(registerctl::typeName(value)));
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    auto *layout = new QFormLayout(this);
    layout->addRow(tr("&Name:"), _name);
    layout->addRow(tr("&Type:"), _type);
    layout->addRow(buttons);
    _name->setMinimumWidth(320);
    _name->setPlaceholderText(tr("group/name"));
    const auto check = [this, buttons] {
        buttons->button(QDialogButtonBox::Ok)
            ->setEnabled(!name().isEmpty() && !_name->text().endsWith(u'/'));
    };
    connect(_name, &QLineEdit::textChanged, this, check);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    check();
}

QString NewPropertyDialog::name() const {
    return QString::fromStdString(registerctl::normalName(_name->text().toStdString()));
}

PropertyValue NewPropertyDialog::value() const {
    return emptyValues()[static_cast<std::size_t>(_type->currentIndex())];
}

} // namespace registerEditor
