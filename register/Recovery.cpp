// A start that continues when register files cannot be used.
#include "filesystem/DamagedFile.h"
#include "register/Lifetime.h"
#include "register/Register.h"
#include "register/ScopeFile.h"

namespace utils::properties {

using filesystem::DamagedFile;

namespace {

/// Leaves the file alone if it cannot be set aside: the register starts without it.
void setUserFileAside(Recovery &recovery, const RegisterFileError &error) {
    DamagedFile file(error.path());
    const auto result = file.setAside();
    if (result != DamagedFile::Result::NotNeeded)
        recovery.userError = error;
    if (result == DamagedFile::Result::Failed)
        _Register::_UserRegisterPath.clear();
    if (result == DamagedFile::Result::SetAside) {
        recovery.damagedFile = file.newPath();
        recovery.previousRestored = file.previousRestored();
    }
}

/// Constructs the register. False when a file could not be used; the next attempt goes without it.
bool start(Recovery &recovery, int attempt) {
    constexpr int maxAttempts = 5; // other processes may change the files meanwhile
    try {
        _Register::getInstance();
        return true;
    } catch (const RegisterFileError &error) {
        if (error.scope() == GlobalScope) {
            recovery.globalError = error;
            _Register::_haveGlobalRegister = false;
        } else if (attempt < maxAttempts) {
            setUserFileAside(recovery, error);
        } else {
            recovery.userError = error;
            _Register::_UserRegisterPath.clear();
        }
        return false;
    }
}

} // namespace

Recovery _Register::initializeOrRecover(const std::string &globalPath,
                                        const std::string &userPath) {
    Recovery recovery;
    if (Lifetime::hasStarted()) {
        initialize(globalPath, userPath);
        return recovery;
    }
    setDirectories(globalPath, userPath);
    const std::string path = userPath + "/" + _BV_REGISTER_NAME;
    if (!userPath.empty() && DamagedFile(path).isEmpty()) {
        const std::string reason = "The register file is empty.";
        setUserFileAside(recovery,
                         RegisterFileError(path + ": " + reason, path, UserScope, reason));
    }
    for (int attempt = 1; !start(recovery, attempt); ++attempt) {
    }
    if (_UserRegisterPath.empty() && recovery.userError)
        getInstance()._userFile->leaveAlone(userPath, recovery.userError->reason());
    _UserRegisterPath = userPath;
    publishDirectories();
    return recovery;
}

} // namespace utils::properties
