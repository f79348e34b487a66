#include "filesystem/RAMFileSystem.h"

#include "exception/Exception.h"
#include "filesystem/RegisterFormat.h"
#include "filesystem/Tree.h"
#include "filesystem/Utf8.h"

#include <utility>

namespace filesystem {

namespace {

/// A path in UTF-8. One that has no UTF-8 form becomes a path at which nothing ever is.
std::string toUtf8(const QString &path) {
    return path.isValidUtf16() ? path.toStdString() : "..";
}

/// What was written replaces the file's bytes in one step, if the file is still in its tree.
class WriteHandle : public FileHandle {
public:
    WriteHandle(const QString &path, std::weak_ptr<tree::File> file)
        : FileHandle(path), _file(std::move(file)) {}

protected:
    bool commit() override {
        if (const auto file = _file.lock())
            file->bytes.swap(_bytes);
        return true;
    }

private:
    std::weak_ptr<tree::File> _file;
};

} // namespace

RAMFileSystem::RAMFileSystem() : _root(std::make_unique<tree::Directory>()) {}

RAMFileSystem::~RAMFileSystem() = default;

std::set<DirEntry> RAMFileSystem::getFileList(const QString &path) const {
    std::set<DirEntry> entries;
    if (const tree::Directory *directory = tree::findDirectory(*_root, toUtf8(path)))
        for (const tree::Node *node : directory->sorted())
            entries.insert(entries.end(), {toQString(node->name), node->isDirectory});
    return entries;
}

bool RAMFileSystem::exists(const QString &path) const {
    return tree::find(*_root, toUtf8(path));
}

bool RAMFileSystem::remove(const QString &path) {
    return tree::remove(*_root, toUtf8(path));
}

bool RAMFileSystem::mkdir(const QString &path) {
    return tree::add(*_root, toUtf8(path), std::make_shared<tree::Directory>(),
                     tree::Parents::MustExist);
}

bool RAMFileSystem::open(const QString &path, FileHandle **handle, FileSystemMode mode) {
    const std::string utf8 = toUtf8(path);
    tree::File *file = tree::findFile(*_root, utf8);
    if (mode == ReadMode && file) {
        *handle = new FileHandle(path, file->bytes);
        return true;
    }
    if (mode != WriteMode)
        return false;
    if (file) {
        *handle = new WriteHandle(path, file->weak_from_this());
        return true;
    }
    const auto created = std::make_shared<tree::File>();
    auto opened = std::make_unique<WriteHandle>(path, created);
    if (!tree::add(*_root, utf8, created, tree::Parents::MustExist))
        return false;
    *handle = opened.release();
    return true;
}

void *RAMFileSystem::loadModule(const QString &) {
    return nullptr;
}

bool RAMFileSystem::unloadModule(void *) {
    return false;
}

void *RAMFileSystem::getSymbolAddress(void *, const QString &) {
    return nullptr;
}

bool RAMFileSystem::isDirectory(const QString &path) const {
    return tree::findDirectory(*_root, toUtf8(path));
}

bool RAMFileSystem::isFile(const QString &path) const {
    return tree::findFile(*_root, toUtf8(path));
}

bool RAMFileSystem::serialize(FileHandle &handle) const {
    return serialize(QStringLiteral("/"), handle);
}

bool RAMFileSystem::unserialize(FileHandle &handle) {
    return unserialize(QStringLiteral("/"), handle);
}

bool RAMFileSystem::serialize(const QString &path, FileHandle &handle) const {
    const tree::Directory *directory = tree::findDirectory(*_root, toUtf8(path));
    if (!directory || !handle.isWritable())
        return false;
    const std::string bytes = registerFormat::encode(*directory);
    const auto length = static_cast<long>(bytes.size());
    return handle.write(bytes.data(), length) == length;
}

bool RAMFileSystem::unserialize(const QString &path, FileHandle &handle) {
    const std::string utf8 = toUtf8(path);
    tree::Directory *directory = tree::findDirectory(*_root, utf8);
    if (!directory || handle.isWritable())
        return false;
    const auto position = static_cast<std::size_t>(handle.tell());
    tree::Directory content = [&] {
        try {
            return registerFormat::decode(handle.bytes().substr(position), tree::levels(utf8));
        } catch (const utils::Exception &error) {
            throw utils::Exception(handle.name().toStdString() + ": " + error.what());
        }
    }();
    directory->children.swap(content.children);
    handle.seek(handle.size());
    return true;
}

} // namespace filesystem
