#include "filesystem/RealFileSystem.h"

#include "filesystem/AtomicFile.h"
#include "filesystem/Posix.h"
#include "filesystem/RAMFileSystem.h"
#include "filesystem/RegisterFormat.h"
#include "filesystem/Utf8.h"

#include <QStringList>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace filesystem {

namespace {

bool isSystemName(const QString &component) {
    return component != QLatin1String(".") && component != QLatin1String("..") &&
           !component.contains(QChar::Null) && !component.contains(QChar::ReplacementCharacter) &&
           component.isValidUtf16();
}

class DiskWriter : public FileHandle {
public:
    DiskWriter(const QString &name, std::unique_ptr<AtomicFile> file)
        : FileHandle(name), _file(std::move(file)) {}
    const AtomicFile &file() const { return *_file; }

protected:
    bool commit() override { return _file->commit(bytes()); }

private:
    std::unique_ptr<AtomicFile> _file;
};

/// Copies the content of a directory of one file system into an empty directory of another.
/// `mayEnter` returns true for a directory that can be listed completely.
template <class MayEnter>
bool copyContent(FileSystem &from, const QString &source, FileSystem &to, const QString &target,
                 const MayEnter &mayEnter) {
    if (!mayEnter(source))
        return false;
    for (const DirEntry &entry : from.getFileList(source)) {
        const QString sourcePath = source + QLatin1Char('/') + entry.name;
        const QString targetPath = target + QLatin1Char('/') + entry.name;
        if (entry.isDirectory) {
            if (!to.mkdir(targetPath) || !copyContent(from, sourcePath, to, targetPath, mayEnter))
                return false;
            continue;
        }
        FileHandle *reader = nullptr;
        if (!from.open(sourcePath, &reader, FileSystem::ReadMode))
            return false;
        const std::unique_ptr<FileHandle> owned(reader);
        FileHandle *opened = nullptr;
        if (!to.open(targetPath, &opened, FileSystem::WriteMode))
            return false;
        std::unique_ptr<FileHandle> writer(opened);
        to.write(opened, reader->bytes().data(), reader->size());
        if (!to.close(writer.release()))
            return false;
    }
    return true;
}

} // namespace

RealFileSystem::RealFileSystem(const QString &root) : _root(root) {}

RealFileSystem::~RealFileSystem() = default;

/// The path on disk; empty if refused (system calls then fail with ENOENT).
std::string RealFileSystem::toSystemPath(const QString &path) const {
    if (_root.isEmpty() || _root.contains(QChar::Null) ||
        _root.contains(QChar::ReplacementCharacter) || !_root.isValidUtf16())
        return {};
    for (const QString &component : path.split(QLatin1Char('/')))
        if (!isSystemName(component))
            return {};
    return (_root + QLatin1Char('/') + path).toStdString();
}

std::set<DirEntry> RealFileSystem::getFileList(const QString &path) const {
    const std::string directory = toSystemPath(path);
    std::vector<std::string> names;
    posix::listDirectory(directory, names);
    std::set<DirEntry> entries;
    for (const std::string &name : names) {
        std::error_code unknown;
        entries.insert(
            {toQString(name), std::filesystem::is_directory(directory + "/" + name, unknown)});
    }
    return entries;
}

bool RealFileSystem::exists(const QString &path) const {
    struct stat status = {};
    return ::stat(toSystemPath(path).c_str(), &status) == 0 || !posix::meansMissing(errno);
}

bool RealFileSystem::remove(const QString &path) {
    const std::string target = toSystemPath(path);
    const std::string root = toSystemPath(QString());
    std::error_code error;
    if (target.empty() || std::filesystem::equivalent(target, root, error))
        return false;
    if (path.endsWith(QLatin1Char('/')) && !std::filesystem::is_directory(target, error))
        return false;
    const auto removed =
        std::filesystem::remove_all(target.substr(0, target.find_last_not_of('/') + 1), error);
    return !error && removed > 0;
}

bool RealFileSystem::mkdir(const QString &path) {
    return ::mkdir(toSystemPath(path).c_str(), 0777) == 0;
}

bool RealFileSystem::open(const QString &path, FileHandle **handle, FileSystemMode mode) {
    const posix::CancellationBlock block;
    _error.clear();
    if (mode == ReadMode)
        return openForReading(path, handle);
    return mode == WriteMode && openForWriting(path, handle);
}

/// Stores the error from the operation and `errno`. Returns false.
bool RealFileSystem::fail(const std::string &path, const char *stage) {
    const std::string reason = std::generic_category().message(errno);
    _error = path + ": " + stage + ": " + reason;
    return false;
}

bool RealFileSystem::openForReading(const QString &path, FileHandle **handle) {
    const std::string target = toSystemPath(path);
    std::string content;
    const auto file = posix::openForReading(target, O_NONBLOCK);
    if (!posix::readAll(file, registerFormat::maxFileSize, content))
        return fail(target, "reading");
    *handle = new FileHandle(QString::fromStdString(target), std::move(content));
    return true;
}

bool RealFileSystem::openForWriting(const QString &path, FileHandle **handle) {
    const std::string target = toSystemPath(path);
    if (target.empty() || target.back() == '/') {
        _error = _root.isEmpty() ? "There is no directory to write in."
                                 : (_root + QLatin1Char('/') + path).toStdString() +
                                       ": no file can have this name";
        return false;
    }
    if (!posix::makePath(toSystemPath(QString()), posix::privateDirectory))
        return fail(_root.toStdString(), "creating the directory");
    auto file = std::make_unique<AtomicFile>(target);
    if (!file->open())
        return fail(file->path(), file->stage());
    *handle = new DiskWriter(QString::fromStdString(target), std::move(file));
    return true;
}

bool RealFileSystem::close(FileHandle *handle) {
    const posix::CancellationBlock block;
    _error.clear();
    const std::unique_ptr<FileHandle> owned(handle);
    if (handle && commit(*handle))
        return true;
    if (auto *writer = dynamic_cast<DiskWriter *>(handle))
        return fail(writer->file().path(), writer->file().stage());
    return false;
}

void *RealFileSystem::loadModule(const QString &path) {
    return isFile(path) ? ::dlopen(toSystemPath(path).c_str(), RTLD_NOW | RTLD_LOCAL) : nullptr;
}

bool RealFileSystem::unloadModule(void *module) {
    return module && ::dlclose(module) == 0;
}

void *RealFileSystem::getSymbolAddress(void *module, const QString &symbol) {
    return module ? ::dlsym(module, symbol.toUtf8().constData()) : nullptr;
}

bool RealFileSystem::isDirectory(const QString &path) const {
    std::error_code error;
    return std::filesystem::is_directory(toSystemPath(path), error);
}

bool RealFileSystem::isFile(const QString &path) const {
    std::error_code error;
    return std::filesystem::is_regular_file(toSystemPath(path), error);
}

bool RealFileSystem::serialize(FileHandle &handle) const {
    return serialize(QString(), handle);
}

bool RealFileSystem::unserialize(FileHandle &handle) {
    return unserialize(QString(), handle);
}

bool RealFileSystem::serialize(const QString &path, FileHandle &handle) const {
    RealFileSystem source(_root);
    RAMFileSystem memory;
    // Links to directories could form a cycle.
    const auto isReadable = [&](const QString &directory) {
        const std::string name = toSystemPath(directory);
        std::error_code error;
        std::vector<std::string> names;
        return (directory == path || !std::filesystem::is_symlink(name, error)) &&
               posix::listDirectory(name, names);
    };
    return isDirectory(path) && copyContent(source, path, memory, QString(), isReadable) &&
           memory.serialize(handle);
}

bool RealFileSystem::unserialize(const QString &path, FileHandle &handle) {
    RAMFileSystem memory;
    const auto always = [](const QString &) { return true; };
    return isDirectory(path) && getFileList(path).empty() && memory.unserialize(handle) &&
           copyContent(memory, QString(), *this, path, always);
}

} // namespace filesystem
