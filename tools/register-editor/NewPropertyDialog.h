#pragma once

#include <register/PropertyValue.h>

#include <QDialog>

class QComboBox;
class QDialogButtonBox;
class QLineEdit;

namespace registerEditor {

/// Asks for the name and the type of a new property.
class NewPropertyDialog : public QDialog {
    Q_OBJECT

public:
    /// `group` is the beginning of the name.
    explicit NewPropertyDialog(const QString &group, QWidget *parent = nullptr);

    QString name() const;
    /// An empty value of the type.
    utils::properties::PropertyValue value() const;

private:
    QLineEdit *_name;
    QComboBox *_type;
};

} // namespace registerEditor
