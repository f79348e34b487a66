#include "register/Lifetime.h"

#include "filesystem/RealFileSystem.h"
#include "filesystem/Utf8.h"
#include "register/Callbacks.h"
#include "register/Lock.h"
#include "register/ScopeFile.h"
#include "register/Scopes.h"

#include <cstdlib>
#include <new>

#include <unistd.h>

namespace utils::properties {

using filesystem::RealFileSystem;
using filesystem::toQString;

namespace {

// Static memory, so that nothing is left over when the library is unloaded.
alignas(boost::recursive_mutex) unsigned char mutexMemory[sizeof(boost::recursive_mutex)];

} // namespace

// At exit these are destroyed in the reverse order, after the last save, because its handlers are
// registered later. The mutex is never destroyed: threads that outlive the last save still use it.
std::string _Register::_BV_REGISTER_NAME = "Brevolant.dat";
boost::recursive_mutex *_Register::_mutex = new (mutexMemory) boost::recursive_mutex;
std::string _Register::_TempRegisterPath = "/temp/";
std::string _Register::_GlobalRegisterPath;
std::string _Register::_UserRegisterPath;
bool _Register::_haveGlobalRegister = false;
std::shared_ptr<const SaveErrorHandler> Lifetime::saveErrorHandler;
std::atomic<SaveMode> Lifetime::saveMode{ReplaceFile};

_Register *Lifetime::_instance = nullptr;
std::atomic<bool> Lifetime::_ended{false};
std::atomic<bool> Lifetime::_suspended{false};
std::thread::id Lifetime::_exiting;
int Lifetime::_process = 0;

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

bool Lifetime::hasStarted() {
    const Lock lock(*_Register::_mutex);
    return _instance;
}

/// Several threads may call `exit` at once. Each then runs some of the exit handlers, and the first
/// that finds none left ends the process. So the end is registered many times: one thread saves,
/// and those that come meanwhile, up to `handlers` threads in all, wait until the process has
/// ended.
void Lifetime::registerExitHandlers() {
    constexpr int handlers = 16;
    for (int i = 0; i < handlers; ++i)
        std::atexit([] {
            if (::getpid() != _process)
                return;
            end(std::this_thread::get_id());
            while (_exiting != std::thread::id() && _exiting != std::this_thread::get_id())
                ::pause();
            // The threads that wait have taken handlers off the list. The C library reads it again
            // only after a registration; otherwise it could go on in memory that it has freed.
            std::atexit([] {});
        });
}

/// The last save, after which nobody is notified of anything. The register is not freed at exit:
/// other threads, and destructors of static objects, may still use it.
void Lifetime::end(std::thread::id exiting) noexcept {
    if (!_instance || ::getpid() != _process) // a forked child may find locks that nobody releases
        return;
    SaveResult result;
    {
        const Lock lock(*_Register::_mutex);
        if (_ended)
            return;
        result = _instance->trySave();
        _ended = true;
        _exiting = exiting;
        _instance->_callbacks->clear();
        _instance->_changedProperties.clear();
    }
    result.report();
}

/// Nobody can use the register any more when its library is unloaded, so it is freed there.
///
/// This is called at exit too. There the exit handlers have run before; at an unload they run
/// afterwards. So an unload is a call that comes before the end.
void Lifetime::unload() noexcept {
    if (_ended || !_instance || ::getpid() != _process)
        return;
    end({});
    delete _instance;
    _instance = nullptr;
}

void Lifetime::startAgain(const std::string &globalPath, const std::string &userPath) {
    const Lock lock(*_Register::_mutex);
    if (_instance)
        empty();
    _suspended = false;
    _Register::setDirectories(globalPath, userPath);
    if (_instance)
        _instance->load();
    _Register::publishDirectories();
}

void Lifetime::suspend() noexcept {
    const Lock lock(*_Register::_mutex);
    _suspended = true;
    saveErrorHandler.reset();
    saveMode = ReplaceFile;
    if (_instance)
        empty();
}

void Lifetime::empty() {
    _instance->_callbacks->clear();
    _instance->_changedProperties.clear();
    for (const Scope &scope : scopes) {
        _instance->remove(toQString(scope.root));
        _instance->mkdir(toQString(scope.root));
    }
    _instance->_globalFile = std::make_unique<ScopeFile>();
    _instance->_userFile = std::make_unique<ScopeFile>();
    _instance->_userFile->announce(saveMode == ReplaceFile);
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
    if (Lifetime::hasEnded())
        return;
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
