#include "filesystem/Path.h"

#include "filesystem/LittleEndian.h"
#include "filesystem/Utf8.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cstdint>

#include <sys/random.h>

namespace filesystem {

namespace {

/// The bytes of a name that a fast test leaves open.
enum class Bytes { Plain, NotAscii, WithSlash };

/// Looks at eight bytes at a time.
Bytes bytesOf(std::string_view name) {
    constexpr std::uint64_t ones = 0x0101010101010101, highs = 0x8080808080808080;
    std::uint64_t nonAscii = 0, slashes = 0;
    const auto test = [&](std::uint64_t word) {
        const std::uint64_t differences = word ^ (ones * '/');
        nonAscii |= word & highs;
        slashes |= (differences - ones) & ~differences & highs; // a byte of zeros borrows
    };
    constexpr std::size_t width = sizeof(std::uint64_t);
    const char *end = name.data() + name.size();
    for (const char *at = name.data(); at + width < end; at += width)
        test(littleEndian::get<std::uint64_t>(at));
    if (name.size() >= width) {
        test(littleEndian::get<std::uint64_t>(end - width));
    } else {
        std::uint64_t word = 0;
        for (const char c : name)
            word = word << 8 | static_cast<unsigned char>(c);
        test(word);
    }
    return slashes ? Bytes::WithSlash : nonAscii ? Bytes::NotAscii : Bytes::Plain;
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
    if (name.empty() || name.size() > maxNameBytes)
        return false;
    if (name.front() == '.' && (name == "." || name == ".."))
        return false;
    const Bytes bytes = bytesOf(name);
    if (bytes == Bytes::WithSlash)
        return false;
    if (bytes == Bytes::Plain)
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
