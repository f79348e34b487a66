#include "MainWindow.h"

#include <QFileDialog>
#include <QMenuBar>
#include <QStatusBar>

#include <algorithm>

using namespace utils::properties;

MainWindow::MainWindow() {
    setWindowTitle("Preferences Window");
    resize(480, 240);
    restoreGeometry(settings::geometry.value());
    _label.setAlignment(Qt::AlignCenter);
    setCentralWidget(&_label);
    statusBar()->showMessage("Ready");

    QMenu *file = menuBar()->addMenu("&File");
    file->addAction("&Open...", this, &MainWindow::open);
    _recent = file->addMenu("&Recent Files");
    connect(_recent, &QMenu::aboutToShow, this, &MainWindow::showRecentFiles);
    file->addAction("&Quit", this, &QWidget::close);
    menuBar()->addMenu("&Edit")->addAction("&Preferences...", this, [this] {
        if (!_preferences)
            _preferences = new Preferences(this);
        _preferences->setAttribute(Qt::WA_DeleteOnClose);
        _preferences->show();
        _preferences->activateWindow();
    });

    _greeting.onChange(this, [this](const QString &) { showGreeting(); });
    _fontSize.onChange(this, [this](int) { showGreeting(); });
    _zoom.onChange(this, [this](double) { showGreeting(); });
    _showStatus.onChange(this, [this](bool isShown) { statusBar()->setVisible(isShown); });
    statusBar()->setVisible(_showStatus.value());
    showGreeting();
}

void MainWindow::showGreeting() {
    QFont font = _label.font();
    font.setPointSizeF(_fontSize.value() * _zoom.value());
    _label.setFont(font);
    _label.setText(_greeting.value());
}

void MainWindow::open() {
    const QString path = QFileDialog::getOpenFileName(this);
    if (path.isEmpty())
        return;
    const RegisterLock lock; // so that no other window writes the list in between
    std::vector<settings::RecentFile> files = settings::recentFiles.value();
    files.erase(std::remove_if(files.begin(), files.end(),
                               [&](const auto &file) { return file.path == path; }),
                files.end());
    files.insert(files.begin(), {path});
    files.resize(std::min<std::size_t>(files.size(), 10));
    settings::recentFiles.set(files);
}

void MainWindow::showRecentFiles() {
    _recent->clear();
    for (const settings::RecentFile &file : settings::recentFiles.value())
        _recent->addAction(file.path);
}

void MainWindow::closeEvent(QCloseEvent *) {
    settings::geometry.set(saveGeometry());
}
