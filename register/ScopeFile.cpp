#include "register/ScopeFile.h"

#include <utility>

namespace utils::properties {

using filesystem::SharedFile;
using filesystem::Top;
using filesystem::Tree;

/// What is known of a file does not hold for one in another directory.
SharedFile &ScopeFile::fileIn(const std::string &directory) {
    if (!_file || _file->file().directory() != directory) {
        _file.emplace(directory, _Register::_BV_REGISTER_NAME);
        _file->file().announce(_announces);
        _newest = 0;
    }
    return *_file;
}

ScopeFile::Result ScopeFile::read(const std::string &directory, Bytes &content,
                                  std::string &reason) {
    const std::lock_guard<std::mutex> writing(_writing);
    SharedFile &file = fileIn(directory);
    const Result result = file.read(content);
    reason = file.file().reason();
    return result;
}

void ScopeFile::accept(const Tree &tree) {
    const std::lock_guard<std::mutex> writing(_writing);
    _file->accept();
    ++_taken;
    _encoded = _file->inMemory();
    _encodedChanges = tree.changes();
}

void ScopeFile::leaveAlone(const std::string &directory, const std::string &reason) {
    const std::lock_guard<std::mutex> writing(_writing);
    fileIn(directory).file().leaveAlone(reason);
}

/// Equal trees have equal bytes, so what was loaded need not be encoded. (An empty file is an
/// exception.)
const ScopeFile::Bytes &ScopeFile::encode(Tree &tree, const Top &top) {
    if (_encoded && !_encoded->empty() && _encodedChanges == tree.changes())
        return _encoded;
    const Tree::Entry root = tree.find(top, filesystem::Name({}));
    if (!root.isGroup())
        throw Exception("The user scope has been removed.");
    _encoded =
        std::make_shared<const std::string>(filesystem::registerFormat::encode(tree, root.group));
    _encodedChanges = tree.changes();
    return _encoded;
}

ScopeFile::Snapshot ScopeFile::snapshot(std::uint64_t number, const std::string &directory,
                                        Tree &tree, const Top &top) {
    return {number, _taken, directory, encode(tree, top)};
}

bool ScopeFile::save(const Snapshot &snapshot, SaveKind kind, std::string &error,
                     std::set<std::string> &conflicts) {
    const std::lock_guard<std::mutex> writing(_writing);
    if (snapshot.taken != _taken)
        return false;
    SharedFile &file = fileIn(snapshot.directory);
    if (snapshot.number < _newest)
        return true;
    _newest = snapshot.number;
    error = kind == SaveKind::Replace
                ? file.replace(snapshot.content)
                : file.merge(snapshot.content,
                             kind == SaveKind::Sync ? SharedFile::IfMissing::Fail
                                                    : SharedFile::IfMissing::Create,
                             conflicts);
    const std::lock_guard<std::mutex> lock(_resultMutex);
    _lockError = file.file().lockError();
    return true;
}

std::string ScopeFile::refresh(const std::string &directory) {
    const std::lock_guard<std::mutex> writing(_writing);
    return fileIn(directory).refresh();
}

bool ScopeFile::take(Tree &tree, const Top &top, bool mayWait, SyncResult &result) {
    std::unique_lock<std::mutex> writing(_writing, std::defer_lock);
    if (mayWait)
        writing.lock();
    else if (!writing.try_lock())
        return false;
    if (_file && _file->hasPending()) {
        ++_taken;
        _file->take(tree, top, {result.taken, result.conflicts});
    }
    return true;
}

void ScopeFile::waitForDisk() {
    const std::lock_guard<std::mutex> writing(_writing);
}

void ScopeFile::announce(bool overwriting) {
    const std::lock_guard<std::mutex> writing(_writing);
    _announces = overwriting;
    if (_file)
        _file->file().announce(overwriting);
}

void ScopeFile::setError(std::uint64_t number, std::string error) {
    const std::lock_guard<std::mutex> lock(_resultMutex);
    if (number < _resultNumber)
        return;
    _resultNumber = number;
    _error = std::move(error);
}

std::string ScopeFile::error() const {
    const std::lock_guard<std::mutex> lock(_resultMutex);
    return _error;
}

std::string ScopeFile::lockError() const {
    const std::lock_guard<std::mutex> lock(_resultMutex);
    return _lockError;
}

} // namespace utils::properties
