#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Paths in memory, in UTF-8: components separated by "/".
namespace filesystem {

constexpr int maxLevels = 512;            ///< levels of a path, the root not counted
constexpr int maxNameUnits = 255;         ///< UTF-16 code units of one component
constexpr std::size_t maxPathSize = 4096; ///< bytes of a path, without a "/" at its front or end

/// True for a component that may exist: valid UTF-8 of at most `maxNameUnits`, not empty, without
/// "/" and U+FFFD, neither "." nor "..".
bool isValidComponent(std::string_view name);

/// Takes the next component off the front of a path; empty when there is none left.
std::string_view takeComponent(std::string_view &path);

/// What stands before the last "/" of a path, and after it.
std::string_view parentOf(std::string_view path);
std::string_view leafOf(std::string_view path);

/// XXH3, seeded once per process, so that nobody can make a file whose names collide.
std::uint64_t hashOf(std::string_view text);

/// The first level of a path, with its part of the path's hash.
struct Top {
    explicit Top(std::string_view name);
    constexpr Top(std::string_view name, std::uint32_t hash) : name(name), hash(hash) {}
    std::string_view name;
    std::uint32_t hash;
};

/// The levels of a path below the first, as the caller spells them, with their hash. A view.
struct Name {
    explicit Name(std::string_view text);
    std::string_view text;
    std::uint32_t hash;

    /// True when it names no level below the first.
    bool isEmpty() const { return text.find_first_not_of('/') == std::string_view::npos; }
    /// The normal form has no empty components; nothing is stored under another.
    bool isNormal() const;
    std::string normal() const;
    bool namesGroupOnly() const { return !text.empty() && text.back() == '/'; }
};

/// The hash of a whole path. A name is hashed once, whichever first levels it is looked up below.
inline std::uint32_t pathHash(const Top &top, const Name &name) {
    return top.hash ^ name.hash;
}

} // namespace filesystem
