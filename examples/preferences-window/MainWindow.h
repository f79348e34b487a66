#pragma once

#include "Settings.h"

#include <qt/LiveProperty.h>

#include <QLabel>
#include <QMainWindow>
#include <QMenu>

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
    utils::properties::LiveProperty<QString> _greeting{settings::greeting};
    utils::properties::LiveProperty<int> _fontSize{settings::fontSize};
    utils::properties::LiveProperty<double> _zoom{settings::zoom};
    utils::properties::LiveProperty<bool> _showStatus{settings::showStatus};
};
