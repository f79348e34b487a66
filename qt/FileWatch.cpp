#include "qt/FileWatch.h"

#include <QFileInfo>

#include <chrono>

namespace utils::properties {

FileWatch::FileWatch(QStringList files, QObject *parent)
    : QObject(parent), _files(std::move(files)) {
    _settle.setInterval(std::chrono::milliseconds(50));
    _settle.setSingleShot(true);
    for (auto event : {&QFileSystemWatcher::directoryChanged, &QFileSystemWatcher::fileChanged})
        connect(&_watcher, event, &_settle, [this] {
            if (!_settle.isActive()) // a busy writer must not hold it up
                _settle.start();
        });
    connect(&_settle, &QTimer::timeout, this, [this] {
        watch();
        emit changed();
    });
    watch();
}

/// Returns what is watched. A save renames a new file over the old one, which the directory tells;
/// a directory that is missing is told by the one above it. Other programs may write into the file
/// itself, or replace the file that a link leads to.
QStringList FileWatch::existing() const {
    QStringList paths;
    for (QString path : _files) {
        if (QFileInfo::exists(path))
            paths += path;
        do
            path = QFileInfo(path).path();
        while (!QFileInfo::exists(path));
        paths += path;
    }
    paths.removeDuplicates();
    return paths;
}

void FileWatch::watch() {
    QStringList watched;
    for (QStringList paths = existing(); paths != watched; paths = existing()) {
        watched = paths; // something may appear before it is watched
        for (const QString &directory : _watcher.directories())
            if (!watched.contains(directory))
                _watcher.removePath(directory);
        _watcher.addPaths(watched);
    }
}

} // namespace utils::properties
