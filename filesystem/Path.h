#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Paths in memory, in UTF-8: components separated by "/".
namespace filesystem {

constexpr int maxLevels = 512;            ///< levels of a path, without the root
constexpr int maxNameUnits = 255;         ///< UTF-16 code units of one component
constexpr std::size_t maxPathSize = 4096; ///< bytes of a path, without a "/" at its front or end

/// True for a component that may exist: valid UTF-8 of 1 to `maxNameUnits`, without "/" and U+FFFD,
/// neither "." nor "..".
bool isValidComponent(std::string_view name);

/// Removes the next component from the front of a path and returns it; empty when none is left.
std::string_view takeComponent(std::string_view &path);

/// The part of a path before its last "/", and the part after it. Without a "/", the parent is
/// empty and the leaf is the whole path.
std::string_view parentOf(std::string_view path);
std::string_view leafOf(std::string_view path);

/// XXH3 with a random seed for each process, so that nobody can construct a file whose names
/// collide.
std::uint64_t hashOf(std::string_view text);

/// The first level of a path and its part of the path's hash. A view.
struct Top {
    explicit Top(std::string_view name);
    constexpr Top(std::string_view name, std::uint32_t hash) : name(name), hash(hash) {}
    std::string_view name;
    std::uint32_t hash;
};

/// The levels of a path below the first, in the caller's spelling, and their hash. A view.
struct Name {
    explicit Name(std::string_view text);
    std::string_view text;
    std::uint32_t hash;

    /// True when it contains no level.
    bool isEmpty() const { return text.find_first_not_of('/') == std::string_view::npos; }
    /// True in normal form, which has no empty components. Names are stored only in this form.
    bool isNormal() const;
    std::string normal() const;
    bool namesGroupOnly() const { return !text.empty() && text.back() == '/'; }
};

/// The hash of a whole path. A name looked up below several first levels is hashed only once.
inline std::uint32_t pathHash(const Top &top, const Name &name) {
    return top.hash ^ name.hash;
}

} // namespace filesystem
