// A start that goes on beside files that cannot be used.
#include "filesystem/StoredFile.h"
#include "register/Register.h"

namespace utils::properties {

using filesystem::StoredFile;

namespace {

/// Where the file cannot be set aside, the register starts without it.
void setUserFileAside(Recovery &recovery, const RegisterFileError &error) {
    recovery.userError = error;
    StoredFile file(_Register::_UserRegisterPath, _Register::_BV_REGISTER_NAME);
    if (!file.setAside(recovery.damagedFile, recovery.previousRestored))
        _Register::_UserRegisterPath.clear();
}

/// Constructs the register. False when a file could not be used; the next attempt goes without it.
bool start(Recovery &recovery) {
    try {
        _Register::getInstance();
        return true;
    } catch (const RegisterFileError &error) {
        if (error.scope() == UserScope) {
            setUserFileAside(recovery, error);
        } else {
            recovery.globalError = error;
            _Register::_haveGlobalRegister = false;
        }
        return false;
    }
}

} // namespace

Recovery _Register::initializeOrRecover(const std::string &globalPath,
                                        const std::string &userPath) {
    Recovery recovery;
    setDirectories(globalPath, userPath);
    const StoredFile file(userPath, _BV_REGISTER_NAME);
    if (file.hasLostItsContent()) {
        const std::string reason = "The register file is empty.";
        setUserFileAside(recovery, RegisterFileError(file.path() + ": " + reason, file.path(),
                                                     UserScope, reason));
    }
    while (!start(recovery)) {
    }
    _UserRegisterPath = userPath;
    publishDirectories();
    return recovery;
}

} // namespace utils::properties
