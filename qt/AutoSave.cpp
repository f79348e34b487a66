#include "qt/AutoSave.h"

#include <QCoreApplication>
#include <QFileSystemWatcher>

namespace utils::properties {

namespace {

/// Files that a save creates and renames follow each other in a few milliseconds.
constexpr std::chrono::milliseconds settlingTime(50);

} // namespace

AutoSave::AutoSave(std::chrono::milliseconds delay, Action action, QObject *parent)
    : QObject(parent), _action(action) {
    for (QTimer *timer : {&_delay, &_limit, &_settle})
        timer->setSingleShot(true);
    _delay.setInterval(delay);
    _limit.setInterval(10 * delay);
    _settle.setInterval(settlingTime);
    connect(&_delay, &QTimer::timeout, this, &AutoSave::flush);
    connect(&_limit, &QTimer::timeout, this, &AutoSave::flush);
    connect(&_settle, &QTimer::timeout, this, [this] { save(Sync); });
    if (QCoreApplication *application = QCoreApplication::instance()) {
        connect(application, &QCoreApplication::aboutToQuit, this, &AutoSave::flush);
        // A signal of QGuiApplication, which this library does not link.
        const char *sessionEnds = SIGNAL(commitDataRequest(QSessionManager &));
        if (application->metaObject()->indexOfSignal(
                QMetaObject::normalizedSignature("commitDataRequest(QSessionManager&)")) >= 0)
            connect(application, sessionEnds, this, SLOT(endSession()));
    }
    _subscription = Subscription(
        allNames, [this](const std::string &) { _post(this, &AutoSave::changed); }, this);
}

AutoSave::~AutoSave() {
    _subscription = Subscription();
}

void AutoSave::setWatchFile(bool isWatched) {
    _watcher.reset();
    if (!isWatched)
        return;
    // A save renames a new file over the old one, so the directories are watched.
    _watcher = std::make_unique<QFileSystemWatcher>();
    for (const std::string &directory :
         {_Register::_UserRegisterPath, _Register::_GlobalRegisterPath})
        if (!directory.empty())
            _watcher->addPath(QString::fromStdString(directory));
    connect(_watcher.get(), &QFileSystemWatcher::directoryChanged, &_settle, [this] {
        if (!_settle.isActive()) // a busy writer must not hold it up
            _settle.start();
    });
}

void AutoSave::changed() {
    _hasChanges = true;
    _delay.start();
    if (!_limit.isActive())
        _limit.start();
}

void AutoSave::flush() {
    if (_post.isPosted() || _hasChanges)
        save(_watcher ? Sync : _action);
}

void AutoSave::endSession() {
    flush();
}

void AutoSave::save(Action action) {
    _Register &reg = initializedRegister();
    if (action == Sync)
        reg.sync(this);
    else
        reg.save();
    const std::string error = reg.saveError();
    _hasChanges = !error.empty();
    _delay.stop();
    _limit.stop();
    if (!error.empty())
        emit saveFailed(QString::fromStdString(error));
}

} // namespace utils::properties
