#include "filesystem/SharedFile.h"

namespace filesystem {

SharedFile::Result SharedFile::read(Bytes &content) {
    const Result result = _file.read(content);
    _read = result == Result::Done ? content : nullptr;
    return result;
}

void SharedFile::accept() {
    _file.accept();
    _inMemory = _inFile = std::move(_read);
}

SharedFile::Result SharedFile::readAgain() {
    Bytes content;
    const Result result = _file.refresh(content);
    if (result == Result::Done)
        _inFile = std::move(content);
    return result;
}

std::string SharedFile::refresh() {
    const Result result = readAgain();
    const bool isKnownToExist = _inFile != nullptr;
    return result == Result::Missing && !isKnownToExist ? std::string() : _file.error();
}

/// Replaces the file by `content`.
std::string SharedFile::put(const Bytes &inMemory, const Bytes &content) {
    _file.replace(*content);
    if (_file.has(*content))
        meet(inMemory, content);
    return _file.error();
}

/// Keeps one copy of contents that are equal: the caller's, with which the next save may begin.
void SharedFile::meet(const Bytes &inMemory, const Bytes &inFile) {
    _inMemory = inMemory;
    _inFile = areEqual(inMemory, inFile) ? inMemory : inFile;
}

std::string SharedFile::replace(const Bytes &inMemory) {
    return put(inMemory, inMemory);
}

std::string SharedFile::merge(const Bytes &inMemory, IfMissing missing, Names &conflicts) {
    const posix::CancellationBlock block;
    if (!_file.prepare())
        return _file.error();
    const StoredFile::SaveLock lock(_file);
    if (lock.isRefused())
        return _file.lockError();
    const Result result = readAgain();
    const bool isMissing = result == Result::Missing;
    if (result == Result::Failed || (isMissing && _inFile && missing == IfMissing::Fail))
        return _file.error();
    Bytes content = inMemory;
    if (hasPending())
        content = areEqual(inMemory, _inMemory) ? _inFile
                                                : merged(_inMemory, _inFile, inMemory, conflicts);
    if (isMissing || !areEqual(content, _inFile))
        return put(inMemory, content);
    meet(inMemory, content);
    return {};
}

void SharedFile::take(Tree &tree, const Top &top, MergeNames names) {
    filesystem::merge(_inMemory, _inFile, tree, top, names);
    _inMemory = _inFile;
}

} // namespace filesystem
