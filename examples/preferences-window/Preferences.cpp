#include "Preferences.h"

#include "Settings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>

using utils::properties::SettingsBinder;

Preferences::Preferences(QWidget *parent) : QDialog(parent) {
    setWindowTitle("Preferences");
    auto *greeting = new QLineEdit;
    auto *theme = new QComboBox; // its items are the choices of the setting
    auto *fontSize = new QSpinBox;
    auto *zoom = new QDoubleSpinBox;
    auto *showStatus = new QCheckBox("Show the &status bar");
    auto *message = new QLabel;
    message->setWordWrap(true);
    message->setMinimumHeight(2 * message->fontMetrics().lineSpacing());
    zoom->setSingleStep(0.25);
    auto *buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Apply |
                             QDialogButtonBox::Cancel | QDialogButtonBox::RestoreDefaults);

    auto *layout = new QFormLayout(this);
    layout->addRow("&Greeting:", greeting);
    layout->addRow("&Theme:", theme);
    layout->addRow("&Font size:", fontSize);
    layout->addRow("&Zoom:", zoom);
    layout->addRow(showStatus);
    layout->addRow(message);
    layout->addRow(buttons);

    //! [bind]
    _binder.bind(settings::greeting, greeting);
    _binder.bind(settings::theme, theme);
    _binder.bind(settings::fontSize, fontSize); // with the limits of the setting
    _binder.bind(settings::zoom, zoom);
    _binder.bind(settings::showStatus, showStatus);
    _binder.setButtonBox(buttons);
    connect(&_binder, &SettingsBinder::accepted, this, &QDialog::accept);
    connect(&_binder, &SettingsBinder::conflict, message, [message](const QString &name) {
        message->setText(name + " was changed elsewhere. Apply writes your value.");
    });
    //! [bind]
    connect(&_binder, &SettingsBinder::refused, message,
            [message](const QString &, const QString &reason) { message->setText(reason); });
    connect(&_binder, &SettingsBinder::hasChangedChanged, message, &QLabel::clear);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}
