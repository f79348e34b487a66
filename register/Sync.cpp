// Merging with the changes of other processes.
#include "register/Lifetime.h"
#include "register/Lock.h"
#include "register/Register.h"
#include "register/ScopeFile.h"
#include "register/Scopes.h"

#include <utility>

namespace utils::properties {

SyncResult _Register::sync(void *sender) {
    constexpr int attempts = 10; // then other threads may have to wait for the disk
    SyncResult result;
    trySave(SaveKind::Sync, result.conflicts).report();
    for (int attempt = 1; !take(sender, attempt == attempts, result); ++attempt) {
        _userFile->waitForDisk();
        _globalFile->waitForDisk();
    }
    return result;
}

std::string _Register::refreshGlobal() const {
    std::unique_lock<boost::recursive_mutex> lock(*_mutex);
    const std::string directory = _haveGlobalRegister ? _GlobalRegisterPath : std::string();
    lock.unlock();
    return directory.empty() ? std::string() : _globalFile->refresh(directory);
}

/// Brings the pending changes of the files into the tree and notifies the callbacks. Returns false
/// when another thread uses the disk, so that some changes may still be missing.
bool _Register::take(void *sender, bool mayWait, SyncResult &result) {
    const Lock lock(*_mutex);
    if (Lifetime::hasEnded())
        return true;
    try {
        if (!_globalFile->take(tree(), topOf(GlobalScope), mayWait, result) ||
            !_userFile->take(tree(), topOf(UserScope), mayWait, result))
            return false;
        std::set<std::string> marks = result.taken;
        _changedProperties.merge(marks);
    } catch (...) {
        _changedProperties.merge(result.taken); // some of them are in the tree
        throw;
    }
    notify(sender);
    return true;
}

void _Register::setSaveMode(SaveMode mode) {
    if (mode != ReplaceFile && mode != MergeIntoFile)
        throw Exception("Bad save mode.");
    std::unique_lock<boost::recursive_mutex> lock(*_mutex);
    Lifetime::saveMode = mode;
    if (!Lifetime::hasStarted() || Lifetime::hasEnded())
        return;
    const _Register &instance = getInstance();
    lock.unlock();
    instance._userFile->announce(mode == ReplaceFile);
}

} // namespace utils::properties
