#pragma once

#include "Preferences.h"
#include "Settings.h"

#include <qt/LiveProperty.h>

#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QPointer>

/// Follows its settings, whoever changes them.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    MainWindow();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void open();
    void showRecentFiles();
    void showGreeting();

    QLabel _label;
    QMenu *_recent;
    QPointer<Preferences> _preferences; ///< the open dialog
    utils::properties::LiveProperty<QString> _greeting{settings::greeting};
    utils::properties::LiveProperty<int> _fontSize{settings::fontSize};
    utils::properties::LiveProperty<double> _zoom{settings::zoom};
    utils::properties::LiveProperty<bool> _showStatus{settings::showStatus};
};
