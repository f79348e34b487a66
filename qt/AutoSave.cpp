#include "qt/AutoSave.h"

#include <QCoreApplication>

namespace utils::properties {

AutoSave::AutoSave(std::chrono::milliseconds delay, Action action, QObject *parent)
    : QObject(parent), _action(action) {
    for (QTimer *timer : {&_delay, &_limit})
        timer->setSingleShot(true);
    _delay.setInterval(delay);
    _limit.setInterval(10 * delay);
    connect(&_delay, &QTimer::timeout, this, &AutoSave::flush);
    connect(&_limit, &QTimer::timeout, this, &AutoSave::flush);
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
    _watch.reset();
    if (!isWatched)
        return;
    QStringList files;
    for (const std::string &directory :
         {_Register::_UserRegisterPath, _Register::_GlobalRegisterPath})
        if (!directory.empty())
            files += QString::fromStdString(directory + "/" + _Register::_BV_REGISTER_NAME);
    _watch = std::make_unique<FileWatch>(files);
    connect(_watch.get(), &FileWatch::changed, this, [this] { save(Sync); });
}

void AutoSave::changed() {
    _hasChanges = true;
    _delay.start();
    if (!_limit.isActive())
        _limit.start();
}

void AutoSave::flush() {
    if (_post.isPosted() || _hasChanges)
        save(_watch ? Sync : _action);
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
