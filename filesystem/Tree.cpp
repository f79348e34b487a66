#include "filesystem/Tree.h"

#include "filesystem/Utf8.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cstdint>

#include <sys/random.h>

namespace filesystem::tree {

namespace {

/// Takes the next component off the front of a path; empty when there is none left.
std::string_view takeComponent(std::string_view &path) {
    while (!path.empty() && path.front() == '/')
        path.remove_prefix(1);
    const std::string_view component = path.substr(0, path.find('/'));
    path.remove_prefix(component.size());
    return component;
}

bool namesDirectoryOnly(std::string_view path) {
    return !path.empty() && path.back() == '/';
}

bool isAscii(std::string_view name) {
    return std::all_of(name.begin(), name.end(), [](char c) { return (c & 0x80) == 0; });
}

/// Where the system has no random bytes yet, the address of a variable must do.
const XXH64_hash_t seed = [] {
    XXH64_hash_t bytes = reinterpret_cast<std::uintptr_t>(&bytes);
    (void)!::getrandom(&bytes, sizeof bytes, GRND_NONBLOCK);
    return bytes;
}();

} // namespace

std::size_t NameHash::operator()(std::string_view name) const {
    return XXH3_64bits_withSeed(name.data(), name.size(), seed);
}

Node *Directory::child(std::string_view name) const {
    const auto found = children.find(name);
    return found == children.end() ? nullptr : found->second.get();
}

void Directory::insert(std::shared_ptr<Node> node) {
    const std::string_view key = node->name;
    children.emplace(key, std::move(node));
}

std::vector<const Node *> Directory::sorted() const {
    std::vector<const Node *> nodes;
    nodes.reserve(children.size());
    for (const auto &entry : children)
        nodes.push_back(entry.second.get());
    std::sort(nodes.begin(), nodes.end(),
              [](const Node *a, const Node *b) { return a->name < b->name; });
    return nodes;
}

bool isValidName(std::string_view name) {
    constexpr std::size_t maxNameBytes = 3 * maxNameUnits;
    if (name.empty() || name.size() > maxNameBytes || name == "." || name == ".." ||
        name.find('/') != std::string_view::npos)
        return false;
    if (isAscii(name))
        return name.size() <= maxNameUnits;
    const QString units = toQString(name);
    return units.size() <= maxNameUnits && !units.contains(QChar::ReplacementCharacter);
}

int levels(std::string_view path) {
    int count = 0;
    while (!takeComponent(path).empty())
        ++count;
    return count;
}

Node *find(Node &from, std::string_view path) {
    const bool directoryOnly = namesDirectoryOnly(path);
    Node *here = &from;
    for (auto name = takeComponent(path); !name.empty(); name = takeComponent(path)) {
        if (!here->isDirectory)
            return nullptr;
        here = static_cast<Directory *>(here)->child(name);
        if (!here)
            return nullptr;
    }
    return directoryOnly && !here->isDirectory ? nullptr : here;
}

File *findFile(Node &from, std::string_view path) {
    Node *node = find(from, path);
    return node && !node->isDirectory ? static_cast<File *>(node) : nullptr;
}

Directory *findDirectory(Node &from, std::string_view path) {
    Node *node = find(from, path);
    return node && node->isDirectory ? static_cast<Directory *>(node) : nullptr;
}

bool add(Directory &root, std::string_view path, std::shared_ptr<Node> leaf, Parents parents) {
    if (!leaf->isDirectory && namesDirectoryOnly(path))
        return false;
    Directory *parent = &root;
    int level = 1;
    std::string_view name = takeComponent(path);
    while (!name.empty()) {
        Node *next = parent->child(name);
        if (!next)
            break;
        if (!next->isDirectory)
            return false;
        parent = static_cast<Directory *>(next);
        name = takeComponent(path);
        ++level;
    }
    std::vector<std::string_view> missing;
    for (; !name.empty(); name = takeComponent(path), ++level) {
        if (level > maxLevels || !isValidName(name))
            return false;
        missing.push_back(name);
    }
    if (missing.empty() || (missing.size() > 1 && parents == Parents::MustExist))
        return false;

    // From the leaf upwards beside the tree; the last insertion is the only change to it.
    leaf->name = missing.back();
    std::shared_ptr<Node> top = std::move(leaf);
    for (missing.pop_back(); !missing.empty(); missing.pop_back()) {
        auto above = std::make_shared<Directory>(missing.back());
        above->insert(std::move(top));
        top = std::move(above);
    }
    parent->insert(std::move(top));
    return true;
}

bool remove(Directory &root, std::string_view path) {
    const bool directoryOnly = namesDirectoryOnly(path);
    path = path.substr(0, path.find_last_not_of('/') + 1);
    const std::size_t name = path.rfind('/') + 1;
    Directory *parent = findDirectory(root, path.substr(0, name));
    if (!parent)
        return false;
    const auto entry = parent->children.find(path.substr(name));
    if (entry == parent->children.end() || (directoryOnly && !entry->second->isDirectory))
        return false;
    // The key is a view of the node's name, so the node outlives its entry.
    const std::shared_ptr<Node> node = std::move(entry->second);
    parent->children.erase(entry);
    return true;
}

} // namespace filesystem::tree
