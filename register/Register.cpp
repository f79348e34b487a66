#include "register/Register.h"

#include "filesystem/Posix.h"
#include "filesystem/RegisterFormat.h"
#include "filesystem/Utf8.h"
#include "register/Callbacks.h"
#include "register/Lifetime.h"
#include "register/Lock.h"
#include "register/ScopeFile.h"
#include "register/Scopes.h"

#include <iterator>
#include <new>
#include <utility>

namespace utils::properties {

using filesystem::toQString;
using filesystem::Tree;
namespace registerFormat = filesystem::registerFormat;

namespace {

Tree::Entry rootOf(Tree &tree, RegisterScope scope) {
    return tree.find(topOf(scope), filesystem::Name({}));
}

} // namespace

RegisterFileError::RegisterFileError(const std::string &message, std::string path,
                                     std::optional<RegisterScope> scope, std::string reason)
    : Exception(message), _path(std::move(path)), _scope(scope), _reason(std::move(reason)) {}

RegisterFileError::~RegisterFileError() = default;

_Register::_Register()
    : _callbacks(std::make_unique<Callbacks>()), _globalFile(std::make_unique<ScopeFile>()),
      _userFile(std::make_unique<ScopeFile>()) {
    _userFile->announce(Lifetime::saveMode == ReplaceFile);
    tree().keepTogether(std::begin(scopeTops), std::end(scopeTops));
    for (const Scope &scope : scopes)
        mkdir(toQString(scope.root));
    load();
}

_Register::~_Register() = default;

/// The global file is read before the user's: the reverse of the order of lookups.
void _Register::load() {
    if (Lifetime::hasEnded())
        return;
    for (auto scope = std::rbegin(scopes); scope != std::rend(scopes); ++scope)
        if (scope->directory && (scope->value != GlobalScope || _haveGlobalRegister))
            loadScope(*scope->directory, scope->value);
}

void _Register::loadScope(const std::string &directory, RegisterScope scope) {
    const std::string path = directory + "/" + _BV_REGISTER_NAME;
    ScopeFile &file = scope == UserScope ? *_userFile : *_globalFile;
    ScopeFile::Bytes content;
    std::string reason;
    const ScopeFile::Result result = file.read(directory, content, reason);
    if (result == ScopeFile::Result::Failed)
        throw RegisterFileError("Can't open " + path, path, scope, reason);
    if (result == ScopeFile::Result::Missing)
        return;
    const QString root = toQString(_nameToPath({}, scope));
    mkdir(root); // the application may have removed it
    const Tree::Entry group = rootOf(tree(), scope);
    if (!group.isGroup())
        throw Exception(root.toStdString() + " is not a group.");
    try {
        registerFormat::decode(std::move(content), tree(), group.group);
    } catch (const Exception &error) {
        throw RegisterFileError(path + ": " + error.what(), path, scope, error.what());
    }
    file.accept(tree());
}

void _Register::save() const {
    trySave().report();
}

SaveResult _Register::trySave() const noexcept {
    std::set<std::string> conflicts;
    return trySave(Lifetime::saveMode == ReplaceFile ? SaveKind::Replace : SaveKind::Merge,
                   conflicts);
}

SaveResult _Register::trySave(SaveKind kind, std::set<std::string> &conflicts) const noexcept {
    std::unique_lock<boost::recursive_mutex> lock(*_mutex);
    if (Lifetime::hasEnded())
        return {};
    SaveResult result{{}, Lifetime::saveErrorHandler};
    std::uint64_t number = 0;
    try {
        try {
            for (bool done = false; !done;) {
                if (!lock.owns_lock())
                    lock.lock();
                number = _userFile->nextNumber();
                const ScopeFile::Snapshot snapshot =
                    _userFile->snapshot(number, _UserRegisterPath, tree(), topOf(UserScope));
                lock.unlock();
                done = _userFile->save(snapshot, kind, result.error, conflicts);
            }
            if (kind == SaveKind::Sync && result.error.empty())
                result.error = refreshGlobal();
        } catch (const Exception &error) {
            result.error = error.what();
        }
    } catch (const std::bad_alloc &) {
        result.error = "out of memory"; // short enough to need none
    }
    _userFile->setError(number, result.error);
    return result;
}

std::string _Register::saveError() const {
    return _userFile->error();
}

std::string _Register::lockError() const {
    return _userFile->lockError();
}

void SaveResult::report() const {
    thread_local bool reporting = false; // a save from inside the handler may fail too
    if (error.empty() || !handler || reporting)
        return;
    const filesystem::posix::CancellationBlock block;
    reporting = true;
    try {
        (*handler)(error);
    } catch (...) { // a save does not throw
    }
    reporting = false;
}

void _Register::setSaveErrorHandler(SaveErrorHandler handler) {
    std::shared_ptr<const SaveErrorHandler> shared;
    if (handler)
        shared = std::make_shared<const SaveErrorHandler>(std::move(handler));
    const Lock lock(*_mutex);
    if (!Lifetime::hasEnded())
        Lifetime::saveErrorHandler.swap(shared);
}

} // namespace utils::properties
