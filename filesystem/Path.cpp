#include "filesystem/Path.h"

#include "filesystem/Utf8.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>

#include <sys/random.h>

namespace filesystem {

namespace {

bool isAscii(std::string_view name) {
    return std::all_of(name.begin(), name.end(), [](char c) { return (c & 0x80) == 0; });
}

struct Seed {
    std::uint64_t value = reinterpret_cast<std::uintptr_t>(this); // where there is nothing better
    Seed() { (void)!::getrandom(&value, sizeof value, GRND_NONBLOCK); }
};

/// Made before the static objects that hash.
[[gnu::init_priority(101)]] const Seed seed;

} // namespace

bool isValidComponent(std::string_view name) {
    constexpr std::size_t maxNameBytes = 3 * maxNameUnits;
    if (name.empty() || name.size() > maxNameBytes || name == "." || name == ".." ||
        name.find('/') != std::string_view::npos)
        return false;
    if (isAscii(name))
        return name.size() <= maxNameUnits;
    const QString units = toQString(name);
    return units.size() <= maxNameUnits && !units.contains(QChar::ReplacementCharacter);
}

std::string_view takeComponent(std::string_view &path) {
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    const std::string_view component = path.substr(0, path.find('/'));
    path.remove_prefix(component.size());
    return component;
}

std::string_view parentOf(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return path.substr(0, slash == std::string_view::npos ? 0 : slash);
}

std::string_view leafOf(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

std::uint64_t hashOf(std::string_view text) {
    return XXH3_64bits_withSeed(text.data(), text.size(), seed.value);
}

// The two halves differ, so "a/b" and "b/a" do not collide.
Top::Top(std::string_view name) : name(name), hash(static_cast<std::uint32_t>(hashOf(name))) {}
Name::Name(std::string_view text)
    : text(text), hash(static_cast<std::uint32_t>(hashOf(text) >> 32)) {}

bool Name::isNormal() const {
    return text.empty() ||
           (text.front() != '/' && text.back() != '/' && text.find("//") == std::string_view::npos);
}

std::string Name::normal() const {
    std::string path;
    std::string_view rest = text;
    for (auto level = takeComponent(rest); !level.empty(); level = takeComponent(rest))
        path.append(path.empty() ? "" : "/").append(level);
    return path;
}

} // namespace filesystem
