#include "register/Register.h"

#include "filesystem/RealFileSystem.h"
#include "filesystem/RegisterFormat.h"
#include "filesystem/Utf8.h"
#include "register/Callbacks.h"
#include "register/Lock.h"
#include "register/Saver.h"
#include "register/Scopes.h"

#include <iterator>
#include <memory>
#include <new>

namespace utils::properties {

using filesystem::FileHandle;
using filesystem::RealFileSystem;
using filesystem::toQString;
using filesystem::Tree;

// The order matters: what is first constructed is last destroyed, and the register, constructed
// after all of these, still saves to its path when it goes. The mutex stays for threads that
// outlive it.
std::string _Register::_BV_REGISTER_NAME = "Brevolant.dat";
boost::recursive_mutex *_Register::_mutex = new boost::recursive_mutex;
std::string _Register::_TempRegisterPath = "/temp/";
std::string _Register::_GlobalRegisterPath;
std::string _Register::_UserRegisterPath;
bool _Register::_haveGlobalRegister = false;

_Register &_Register::getInstance() {
    const Lock lock(*_mutex);
    // Never freed: threads, and destructors of other static objects, may still use the register
    // when the process ends, and find a tree that is no longer saved.
    static _Register *const _reg = new _Register;
    static const struct AtExit {
        ~AtExit() { _reg->end(); }
    } atExit;
    return *_reg;
}

_Register::_Register()
    : _callbacks(std::make_unique<Callbacks>()), _saver(std::make_unique<Saver>()) {
    tree().keepTogether(std::begin(scopeTops), std::end(scopeTops));
    for (const Scope &scope : scopes)
        mkdir(toQString(scope.root));
    load();
}

_Register::~_Register() = default;

/// The end of the process: the last save, after which nobody is told of anything.
void _Register::end() noexcept {
    try {
        save();
    } catch (...) { // there is nobody left to tell
    }
    const Lock lock(*_mutex);
    _callbacks->clear();
    _changedProperties.clear();
}

void _Register::initialize(const std::string &globalPath, const std::string &userPath) {
    _haveGlobalRegister = _test_register_path(globalPath, _BV_REGISTER_NAME);
    _GlobalRegisterPath = globalPath;
    if (!_test_register_path(userPath, _BV_REGISTER_NAME))
        throw Exception("User register not found");
    _UserRegisterPath = userPath;
    _Register &instance = getInstance();
    instance._writeString(nullptr, "UserDataPath", userPath, TempScope);
    instance.save();
    instance._writeString(nullptr, "GlobalDataPath", globalPath, TempScope);
    instance.save();
}

/// The global file is read before the user's: the reverse of the order of lookups.
void _Register::load() {
    for (auto scope = std::rbegin(scopes); scope != std::rend(scopes); ++scope)
        if (scope->directory && (scope->value != GlobalScope || _haveGlobalRegister))
            loadScope(*scope->directory, scope->value);
}

void _Register::loadScope(const std::string &directory, RegisterScope scope) {
    RealFileSystem disk(toQString(directory));
    const QString file = toQString(_BV_REGISTER_NAME);
    if (!disk.exists(file))
        return;
    FileHandle *handle = nullptr;
    if (!disk.open(file, &handle, ReadMode))
        throw Exception("Can't open " + directory + "/" + _BV_REGISTER_NAME);
    const std::unique_ptr<FileHandle> owned(handle);
    const QString root = toQString(_nameToPath({}, scope));
    mkdir(root); // the application may have removed it
    if (!replaceContent(root, takeBytes(*handle), handle->name()))
        throw Exception(root.toStdString() + " is not a group.");
}

void _Register::save() const {
    std::unique_lock<boost::recursive_mutex> lock(*_mutex);
    const std::uint64_t number = _saver->nextNumber();
    try {
        const std::string directory = _UserRegisterPath;
        const Tree::Entry root = tree().find(topOf(UserScope), filesystem::Name({}));
        if (!root.isGroup())
            return _saver->setError(number, "The user scope has been removed.");
        const std::string bytes = filesystem::registerFormat::encode(tree(), root.group);
        lock.unlock();
        _saver->write(number, directory, bytes);
    } catch (const std::bad_alloc &) {
        _saver->setError(number, "out of memory"); // short enough to need none
        throw;
    } catch (const Exception &error) { // the scope is too large
        _saver->setError(number, error.what());
    }
}

std::string _Register::saveError() const {
    return _saver->error();
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
