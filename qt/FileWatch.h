#pragma once

#include "qt/Export.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QStringList>
#include <QTimer>

namespace utils::properties {

/// Watches files that other processes create, replace, write or remove, also in directories that
/// do not exist yet or are removed. Create, use and destroy it in one thread with an event loop.
class REGISTER_QT_EXPORT FileWatch : public QObject {
    Q_OBJECT

public:
    /// Watches these paths. They are best absolute.
    explicit FileWatch(QStringList files, QObject *parent = nullptr);

signals:
    /// A file may have changed, or something else beside it. Comes 50 ms after the first of the
    /// changes that it stands for, so that the steps of a save are one.
    void changed();

private:
    QStringList existing() const;
    void watch();

    const QStringList _files;
    QFileSystemWatcher _watcher;
    QTimer _settle;
};

} // namespace utils::properties
