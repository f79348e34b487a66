#pragma once

#include <widgets/SettingsBinder.h>

#include <QDialog>

/// The preferences dialog. The binder does the work: each widget is bound to its setting once.
class Preferences : public QDialog {
    Q_OBJECT

public:
    explicit Preferences(QWidget *parent = nullptr);

private:
    utils::properties::SettingsBinder _binder;
};
