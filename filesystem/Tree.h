#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// The tree in memory, addressed by paths in UTF-8. `RAMFileSystem` is its face for `QString`; the
/// register walks it directly, so that a read or a write costs no conversion and no copy of a path.
///
/// Nothing here recurses by the depth of a path that has not been checked against `maxLevels`.
namespace filesystem::tree {

constexpr int maxLevels = 512;    ///< levels of a path, the root not counted
constexpr int maxNameUnits = 255; ///< UTF-16 code units of one name

struct Node {
    Node(std::string_view name, bool isDirectory) : name(name), isDirectory(isDirectory) {}
    std::string name;
    const bool isDirectory;
};

/// Short values (15 bytes with libstdc++) lie inside the string, so most properties own no memory
/// beyond their node. A handle for writing keeps a weak pointer to the file that it will fill.
struct File : Node, std::enable_shared_from_this<File> {
    explicit File(std::string_view name = {}, std::string bytes = {})
        : Node(name, false), bytes(std::move(bytes)) {}
    std::string bytes;
};

/// Seeded once per process, so that no file can be made whose names collide. Not `noexcept` on
/// purpose: libstdc++ then keeps each hash in its node instead of computing it again on a walk.
struct NameHash {
    std::size_t operator()(std::string_view name) const;
};

/// The keys are views of the children's own names.
struct Directory : Node {
    explicit Directory(std::string_view name = {}) : Node(name, true) {}
    std::unordered_map<std::string_view, std::shared_ptr<Node>, NameHash> children;

    Node *child(std::string_view name) const;
    void insert(std::shared_ptr<Node> node);
    /// The children in the order of their names' bytes, as unsigned values.
    std::vector<const Node *> sorted() const;
};

/// True for a name that a node may have: valid UTF-8 of at most `maxNameUnits`, not empty, without
/// "/" and U+FFFD, neither "." nor "..".
bool isValidName(std::string_view name);

/// The number of components of a path.
int levels(std::string_view path);

/// What is at `path`, seen from `from`, or null. The empty path is `from` itself.
Node *find(Node &from, std::string_view path);

/// `find`, for a file or for a directory alone.
File *findFile(Node &from, std::string_view path);
Directory *findDirectory(Node &from, std::string_view path);

enum class Parents { MustExist, Create };

/// Puts `leaf` at `path` and names it, in one step: either the leaf and, where asked for, all
/// missing directories above it are there afterwards, or, when it returns false or throws, nothing
/// has changed. False when something is at the path, a file is in its way, its parent is missing
/// and must exist, or a level would be too deep or have a bad name.
bool add(Directory &root, std::string_view path, std::shared_ptr<Node> leaf, Parents parents);

/// Removes what is at `path`; false when nothing is there or the path is the root.
bool remove(Directory &root, std::string_view path);

} // namespace filesystem::tree
