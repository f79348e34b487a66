#pragma once

#include "qt/Export.h"
#include "qt/FileWatch.h"
#include "qt/PostOnce.h"
#include "register/Subscription.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <memory>

namespace utils::properties {

/// Saves the register after changes, so that an application need not.
///
/// Saves a chosen time after the last change, and at the latest after ten times that time, at
/// `QCoreApplication::aboutToQuit`, and when the session of the desktop ends. Create it after
/// `_Register::initialize`, in a thread with an event loop: the saves run there. Destroy it in that
/// thread. It does not save when it is destroyed; the register itself saves at the exit.
class REGISTER_QT_EXPORT AutoSave : public QObject {
    Q_OBJECT

public:
    /// How it saves.
    enum Action {
        Save, ///< `_Register::save`
        Sync  ///< `_Register::sync`; takes the changes of other processes too
    };

    /// `delay` is the time after the last change.
    explicit AutoSave(std::chrono::milliseconds delay = std::chrono::seconds(2),
                      Action action = Save, QObject *parent = nullptr);
    ~AutoSave() override;

    /// With true, calls `sync` when another process has created, replaced or removed the user file
    /// or the global file, and also instead of each save, which could overwrite what has not been
    /// seen yet.
    void setWatchFile(bool isWatched);

    /// Saves now if there are changes since the last save.
    void flush();

signals:
    /// A save or a `sync` failed; the error is that of `_Register::saveError`. The next change, or
    /// the next quit, tries again.
    void saveFailed(const QString &error);

private slots:
    void endSession();

private:
    void changed();
    void save(Action action);

    const Action _action;
    PostOnce _post;
    bool _hasChanges = false;
    QTimer _delay, _limit; ///< since the last change, and since the first one that is not saved
    std::unique_ptr<FileWatch> _watch;
    Subscription _subscription;
};

} // namespace utils::properties
