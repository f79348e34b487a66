#include "register/RegisterFile.h"

#include "filesystem/FileLock.h"
#include "filesystem/Salvage.h"
#include "filesystem/SharedFile.h"
#include "filesystem/Utf8.h"
#include "register/TypedAccess.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace utils::properties {

using filesystem::Name;
using filesystem::SharedFile;
using filesystem::Top;
using filesystem::Tree;
namespace registerFormat = filesystem::registerFormat;

namespace {

// The content lies where the user scope has it, so both have the same limits.
const Top &top() {
    return topOf(UserScope);
}

std::string absolutePath(const std::string &path) {
    if (path.empty())
        throw Exception("A register file needs a path.");
    return std::filesystem::absolute(path).string();
}

template <class Value>
void read(Tree &tree, const std::string &name, Value &value) {
    readValue(tree, topsOf(UserScope), Name(name), value);
}

[[noreturn]] void cannotHold(const std::string &name) {
    throw Exception(name + " no such property.");
}

template <class Value>
void write(Tree &tree, const std::string &name, const Value &value) {
    if (!placeValue(tree, top(), Name(name), value, encodedSize(value)))
        cannotHold(name);
}

void write(Tree &tree, const std::string &name, NoValue) {
    const Name key(name);
    if (key.isEmpty() || !tree.place(top(), key, 0))
        cannotHold(name);
}

void write(Tree &tree, const std::string &name, std::monostate) {
    const Name key(name);
    if (tree.find(top(), key).isProperty())
        tree.remove(top(), key);
}

} // namespace

struct RegisterFile::Content {
    explicit Content(const std::string &path)
        : path(path), file(std::filesystem::path(path).parent_path().string(),
                           std::filesystem::path(path).filename().string()) {
        tree.keepTogether(allTops.first, allTops.last);
        tree.addGroup(top(), Name({}));
    }

    Tree::GroupId root() { return tree.find(top(), Name({})).group; }
    registerFormat::Bytes encode() {
        return std::make_shared<const std::string>(registerFormat::encode(tree, root()));
    }
    /// False when there is no file. Throws when it cannot be read.
    bool read(registerFormat::Bytes &bytes) {
        const SharedFile::Result result = file.read(bytes);
        if (result == SharedFile::Result::Failed)
            fail("Can't open " + path, file.file().reason());
        return result != SharedFile::Result::Missing;
    }
    [[noreturn]] void fail(const std::string &message, const std::string &reason) const {
        throw RegisterFileError(message, path, std::nullopt, reason);
    }

    const std::string path;
    Tree tree;
    SharedFile file;
};

RegisterFile::RegisterFile(std::unique_ptr<Content> content) : _content(std::move(content)) {}

RegisterFile::RegisterFile(const std::string &path)
    : _content(std::make_unique<Content>(absolutePath(path))) {
    registerFormat::Bytes bytes;
    if (!_content->read(bytes))
        return;
    try {
        registerFormat::decode(bytes, _content->tree, _content->root());
    } catch (const Exception &error) {
        _content->fail(_content->path + ": " + error.what(), error.what());
    }
    _content->file.accept();
}

RegisterFile RegisterFile::salvage(const std::string &path, const std::string &to,
                                   std::vector<FileFault> &faults) {
    auto result = std::make_unique<Content>(absolutePath(to));
    Content damaged(absolutePath(path));
    registerFormat::Bytes bytes;
    if (!damaged.read(bytes))
        damaged.fail("Can't open " + damaged.path, std::generic_category().message(ENOENT));
    std::vector<FileFault> found;
    try {
        for (auto &fault : filesystem::salvage::read(bytes, result->tree, result->root()))
            found.push_back({fault.offset, std::move(fault.what)});
    } catch (const Exception &error) {
        damaged.fail(damaged.path + ": " + error.what(), error.what());
    }
    faults = std::move(found);
    return RegisterFile(std::move(result));
}

RegisterFile::RegisterFile(RegisterFile &&other) noexcept = default;
RegisterFile &RegisterFile::operator=(RegisterFile &&other) noexcept = default;
RegisterFile::~RegisterFile() = default;

const std::string &RegisterFile::path() const {
    return _content->path;
}

SyncResult RegisterFile::save() {
    SyncResult result;
    SharedFile &file = _content->file;
    std::string error;
    try {
        error = file.merge(_content->encode(), SharedFile::IfMissing::Create, result.conflicts);
    } catch (const Exception &tooLarge) {
        _content->fail(_content->path + ": " + tooLarge.what(), tooLarge.what());
    }
    if (!error.empty())
        _content->fail(error, file.file().reason());
    if (file.hasPending())
        file.take(_content->tree, top(), {result.taken, result.conflicts});
    return result;
}

std::string RegisterFile::lockError() const {
    return _content->file.file().lockError();
}

bool RegisterFile::willBeOverwritten() const {
    filesystem::FileLocation location;
    return location.find(_content->path) && filesystem::FileLock::isAnnounced(location);
}

void RegisterFile::addGroup(const std::string &name) {
    _content->tree.addGroup(top(), Name(name));
}

void RegisterFile::addProperty(const std::string &name) {
    const Name key(name);
    if (!key.isEmpty() && !_content->tree.find(top(), key))
        _content->tree.place(top(), key, 0);
}

void RegisterFile::delProperty(const std::string &name) {
    const Name key(name);
    if (!key.isEmpty())
        _content->tree.remove(top(), key);
}

bool RegisterFile::groupExists(const std::string &name) const {
    return _content->tree.find(top(), Name(name)).isGroup();
}

bool RegisterFile::propertyExists(const std::string &name) const {
    return bool(_content->tree.find(top(), Name(name)));
}

std::set<filesystem::DirEntry> RegisterFile::propertyList(const std::string &name) const {
    const Tree::Entry group = _content->tree.find(top(), Name(name));
    if (!group.isGroup())
        throw Exception(name + " does not exist or is not a group.");
    std::set<filesystem::DirEntry> entries;
    for (const Tree::Member &member : _content->tree.members(group.group))
        entries.insert({filesystem::toQString(member.name), member.isGroup});
    return entries;
}

void RegisterFile::_readString(const std::string &name, std::string &value) const {
    read(_content->tree, name, value);
}

void RegisterFile::_readNumber(const std::string &name, double &value) const {
    read(_content->tree, name, value);
}

void RegisterFile::_readInteger(const std::string &name, int &value) const {
    read(_content->tree, name, value);
}

void RegisterFile::_readBoolean(const std::string &name, bool &value) const {
    read(_content->tree, name, value);
}

void RegisterFile::_readStrings(const std::string &name, std::vector<std::string> &values) const {
    read(_content->tree, name, values);
}

void RegisterFile::_readNumbers(const std::string &name, std::vector<double> &values) const {
    read(_content->tree, name, values);
}

void RegisterFile::_readIntegers(const std::string &name, std::vector<int> &values) const {
    read(_content->tree, name, values);
}

void RegisterFile::_readBooleans(const std::string &name, std::vector<bool> &values) const {
    read(_content->tree, name, values);
}

PropertyValue RegisterFile::readAny(const std::string &name) const {
    return findAny(_content->tree, topsOf(UserScope), Name(name));
}

Type RegisterFile::readPropertyType(const std::string &name, Type *elementType) const {
    return typeOf(_content->tree, topsOf(UserScope), Name(name), elementType);
}

void RegisterFile::_writeString(const std::string &name, const std::string &value) {
    write(_content->tree, name, value);
}

void RegisterFile::_writeNumber(const std::string &name, const double &value) {
    write(_content->tree, name, value);
}

void RegisterFile::_writeInteger(const std::string &name, const int &value) {
    write(_content->tree, name, value);
}

void RegisterFile::_writeBoolean(const std::string &name, const bool &value) {
    write(_content->tree, name, value);
}

void RegisterFile::_writeStrings(const std::string &name, const std::vector<std::string> &values) {
    write(_content->tree, name, values);
}

void RegisterFile::_writeNumbers(const std::string &name, const std::vector<double> &values) {
    write(_content->tree, name, values);
}

void RegisterFile::_writeIntegers(const std::string &name, const std::vector<int> &values) {
    write(_content->tree, name, values);
}

void RegisterFile::_writeBooleans(const std::string &name, const std::vector<bool> &values) {
    write(_content->tree, name, values);
}

void RegisterFile::writeAny(const std::string &name, const PropertyValue &value) {
    std::visit([&](const auto &held) { write(_content->tree, name, held); }, value);
}

std::string RegisterFile::readBytes(const std::string &name) const {
    const Tree::Entry entry = locate(_content->tree, topsOf(UserScope), Name(name));
    if (entry.isGroup())
        throw PropertyBadType();
    return std::string(_content->tree.value(entry));
}

void RegisterFile::writeBytes(const std::string &name, const std::string &bytes) {
    const Name key(name);
    char *place = key.isEmpty() ? nullptr : _content->tree.place(top(), key, bytes.size());
    if (!place)
        cannotHold(name);
    bytes.copy(place, bytes.size());
}

} // namespace utils::properties
