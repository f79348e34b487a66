#include "filesystem/RAMFileSystem.h"

#include "exception/Exception.h"
#include "filesystem/RegisterFormat.h"
#include "filesystem/Tree.h"
#include "filesystem/Utf8.h"

#include <algorithm>
#include <utility>

namespace filesystem {

namespace {

/// A path of the tree: its first level and the levels below it, in normal form.
class TreePath {
public:
    /// A path that has no UTF-8 form becomes one under which nothing can exist.
    explicit TreePath(const QString &path)
        : TreePath(path.isValidUtf16() ? path.toStdString() : std::string("..")) {}

    bool isRoot() const { return _normal.empty(); }
    /// True when the path ends in "/".
    bool namesDirectoryOnly() const { return _namesDirectoryOnly; }
    std::string_view top() const { return std::string_view(_normal).substr(0, _normal.find('/')); }
    Name name() const {
        return Name(std::string_view(_normal).substr(std::min(top().size() + 1, _normal.size())));
    }
    TreePath parent() const { return TreePath(std::string(parentOf(_normal))); }

private:
    explicit TreePath(const std::string &path)
        : _normal(Name(path).normal()), _namesDirectoryOnly(!path.empty() && path.back() == '/') {}

    std::string _normal;
    bool _namesDirectoryOnly;
};

Tree::Entry find(Tree &tree, const TreePath &path) {
    if (path.isRoot())
        return {Tree::root};
    const Tree::Entry entry = tree.find(tree.top(path.top()), path.name());
    return entry.isProperty() && path.namesDirectoryOnly() ? Tree::Entry() : entry;
}

/// Its bytes replace the file's bytes in one step, if the file is still in its tree.
class MemoryWriter : public FileHandle {
public:
    MemoryWriter(const QString &path, std::shared_ptr<const OpenFile> file)
        : FileHandle(path), _file(std::move(file)) {}

protected:
    bool commit() override {
        if (!_file->tree)
            return true;
        Tree &tree = *_file->tree;
        if (char *content = tree.place(tree.top(_file->top), Name(_file->name), _bytes.size()))
            _bytes.copy(content, _bytes.size());
        return true;
    }

private:
    std::shared_ptr<const OpenFile> _file;
};

} // namespace

RAMFileSystem::RAMFileSystem() : _tree(std::make_unique<Tree>()) {}

RAMFileSystem::~RAMFileSystem() = default;

std::set<DirEntry> RAMFileSystem::getFileList(const QString &path) const {
    std::set<DirEntry> entries;
    if (const Tree::Entry directory = find(*_tree, TreePath(path)); directory.isGroup())
        for (const Tree::Member &member : _tree->members(directory.group))
            entries.insert(entries.end(), {toQString(member.name), member.isGroup});
    return entries;
}

bool RAMFileSystem::exists(const QString &path) const {
    return static_cast<bool>(find(*_tree, TreePath(path)));
}

bool RAMFileSystem::remove(const QString &path) {
    const TreePath target(path);
    return find(*_tree, target) && !target.isRoot() &&
           _tree->remove(_tree->top(target.top()), target.name());
}

bool RAMFileSystem::mkdir(const QString &path) {
    const TreePath target(path);
    return !target.isRoot() && find(*_tree, target.parent()).isGroup() &&
           _tree->addGroup(_tree->top(target.top()), target.name());
}

bool RAMFileSystem::open(const QString &path, FileHandle **handle, FileSystemMode mode) {
    const TreePath target(path);
    const Tree::Entry file = find(*_tree, target);
    if (mode == ReadMode && file.isProperty()) {
        *handle = new FileHandle(path, std::string(_tree->value(file)));
        return true;
    }
    if (mode != WriteMode || file.isGroup() || target.namesDirectoryOnly() ||
        !find(*_tree, target.parent()).isGroup())
        return false;
    const Top top = _tree->top(target.top());
    const Name name = target.name();
    const auto opened = std::make_shared<OpenFile>(
        OpenFile{_tree.get(), std::string(top.name), std::string(name.text)});
    auto writer = std::make_unique<MemoryWriter>(path, opened);
    _tree->openFiles().add(opened);
    if (!file && !_tree->place(top, name, 0))
        return false;
    *handle = writer.release();
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
    return find(*_tree, TreePath(path)).isGroup();
}

bool RAMFileSystem::isFile(const QString &path) const {
    return find(*_tree, TreePath(path)).isProperty();
}

bool RAMFileSystem::serialize(FileHandle &handle) const {
    return serialize(QStringLiteral("/"), handle);
}

bool RAMFileSystem::unserialize(FileHandle &handle) {
    return unserialize(QStringLiteral("/"), handle);
}

bool RAMFileSystem::serialize(const QString &path, FileHandle &handle) const {
    const Tree::Entry directory = find(*_tree, TreePath(path));
    if (!directory.isGroup() || !handle.isWritable())
        return false;
    const std::string bytes = registerFormat::encode(*_tree, directory.group);
    const auto length = static_cast<long>(bytes.size());
    return handle.write(bytes.data(), length) == length;
}

bool RAMFileSystem::unserialize(const QString &path, FileHandle &handle) {
    const Tree::Entry directory = find(*_tree, TreePath(path));
    if (!directory.isGroup() || handle.isWritable())
        return false;
    const auto position = static_cast<std::size_t>(handle.tell());
    try {
        registerFormat::decode(std::make_shared<const std::string>(handle.bytes().substr(position)),
                               *_tree, directory.group);
    } catch (const utils::Exception &error) {
        throw utils::Exception(handle.name().toStdString() + ": " + error.what());
    }
    handle.seek(handle.size());
    return true;
}

} // namespace filesystem
