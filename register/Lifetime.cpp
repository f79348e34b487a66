#include "register/Lifetime.h"

#include "filesystem/RealFileSystem.h"
#include "filesystem/Utf8.h"
#include "register/Callbacks.h"
#include "register/Lock.h"

#include <cstdlib>
#include <mutex>

#include <unistd.h>

namespace utils::properties {

using filesystem::RealFileSystem;
using filesystem::toQString;

// At exit these are destroyed in the reverse order, after the last save, because its handlers are
// registered later. The mutex stays for threads that outlive it.
std::string _Register::_BV_REGISTER_NAME = "Brevolant.dat";
boost::recursive_mutex *_Register::_mutex = new boost::recursive_mutex;
std::string _Register::_TempRegisterPath = "/temp/";
std::string _Register::_GlobalRegisterPath;
std::string _Register::_UserRegisterPath;
bool _Register::_haveGlobalRegister = false;
std::shared_ptr<const SaveErrorHandler> Lifetime::saveErrorHandler;

_Register *Lifetime::_instance = nullptr;
bool Lifetime::_ended = false;
int Lifetime::_process = 0;

namespace {

/// Held while the result of the last save is reported. Recursive, because the handler may call
/// `exit`. Taken after the register's lock.
std::recursive_mutex lastReport;

} // namespace

_Register &_Register::getInstance() {
    return Lifetime::instance();
}

_Register &Lifetime::instance() {
    const Lock lock(*_Register::_mutex);
    if (!_instance) {
        _instance = new _Register;
        _process = ::getpid();
        registerExitHandlers();
    }
    return *_instance;
}

/// Several threads may call `exit` at once. Each then runs some of the exit handlers, and the first
/// that has none left ends the process. So the last save is registered many times: the first thread
/// saves, and the others wait in it until that is done. This holds for `handlers` threads.
void Lifetime::registerExitHandlers() {
    constexpr int handlers = 16;
    for (int i = 0; i < handlers; ++i)
        std::atexit([] { end(); });
}

/// The last save, after which nobody is notified of anything. The register is not freed at exit:
/// other threads, and destructors of static objects, may still use it.
void Lifetime::end() noexcept {
    if (!_instance || ::getpid() != _process) // a forked child may find locks that nobody releases
        return;
    std::unique_lock<boost::recursive_mutex> lock(*_Register::_mutex);
    SaveResult result;
    if (!_ended) {
        result = _instance->trySave();
        _ended = true;
        _instance->_callbacks->clear();
        _instance->_changedProperties.clear();
    }
    const std::lock_guard<std::recursive_mutex> reporting(lastReport);
    lock.unlock();
    result.report();
}

/// Nobody can use the register any more when its library is unloaded, so it is freed there.
///
/// This is called at exit too. There the exit handlers have run before; at an unload they run
/// afterwards. So an unload is a call that comes before the end.
void Lifetime::unload() noexcept {
    if (_ended || !_instance || ::getpid() != _process)
        return;
    end();
    delete _instance;
    _instance = nullptr;
}

namespace {

[[gnu::destructor]] void unloadLibrary() {
    Lifetime::unload();
}

} // namespace

void _Register::setDirectories(const std::string &globalPath, const std::string &userPath) {
    _haveGlobalRegister = _test_register_path(globalPath, _BV_REGISTER_NAME);
    _GlobalRegisterPath = globalPath;
    if (!_test_register_path(userPath, _BV_REGISTER_NAME))
        throw Exception("User register not found");
    _UserRegisterPath = userPath;
}

/// Saves after each, as the first save creates the user file.
void _Register::publishDirectories() {
    _Register &instance = getInstance();
    instance._writeString(nullptr, "UserDataPath", _UserRegisterPath, TempScope);
    instance.save();
    instance._writeString(nullptr, "GlobalDataPath", _GlobalRegisterPath, TempScope);
    instance.save();
}

void _Register::initialize(const std::string &globalPath, const std::string &userPath) {
    setDirectories(globalPath, userPath);
    publishDirectories();
}

bool _test_register_path(const std::string &dir, const std::string &fileName) {
    RealFileSystem disk(toQString(dir));
    const QString name = toQString(fileName);
    if (disk.exists(name))
        return true;
    const QString parent = filesystem::dirName(name);
    return parent.isEmpty() || disk.exists(parent) || disk.mkdir(parent);
}

} // namespace utils::properties
