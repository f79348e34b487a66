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

constexpr std::size_t wordSize = sizeof(std::uint64_t);

/// Returns a word with the high bit of each byte set that is a "/" in `word`.
std::uint64_t slashesIn(std::uint64_t word) {
    constexpr std::uint64_t ones = 0x0101010101010101, lows = 0x7F7F7F7F7F7F7F7F;
    const std::uint64_t differences = word ^ (ones * '/');
    return ~(((differences & lows) + lows) | differences | lows);
}

/// Calls `test` with words of eight bytes that cover the text. Each word starts `step` bytes after
/// the one before it; the last word ends where the text ends. A text shorter than a word becomes
/// one word, padded with zeros.
template <class Test>
void forEachWord(std::string_view text, std::size_t step, Test test) {
    const char *end = text.data() + text.size();
    if (text.size() < wordSize) {
        std::uint64_t word = 0;
        for (const char *at = end; at != text.data();)
            word = word << 8 | static_cast<unsigned char>(*--at);
        return test(word);
    }
    for (const char *at = text.data(); at + wordSize < end; at += step)
        test(littleEndian::get<std::uint64_t>(at));
    test(littleEndian::get<std::uint64_t>(end - wordSize));
}

std::uint64_t randomSeed() {
    std::uint64_t bytes = reinterpret_cast<std::uintptr_t>(&bytes); // if getrandom fails
    (void)!::getrandom(&bytes, sizeof bytes, GRND_NONBLOCK);
    return bytes;
}

const std::uint64_t seed = randomSeed();

} // namespace

bool isValidComponent(std::string_view name) {
    constexpr std::size_t maxNameBytes = 3 * maxNameUnits;
    if (name.empty() || name.size() > maxNameBytes)
        return false;
    if (name.front() == '.' && (name == "." || name == ".."))
        return false;
    std::uint64_t slashes = 0, bytes = 0;
    forEachWord(name, wordSize, [&](std::uint64_t word) {
        slashes |= slashesIn(word);
        bytes |= word;
    });
    if (slashes)
        return false;
    if ((bytes & 0x8080808080808080) == 0) // ASCII
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
    return XXH3_64bits_withSeed(text.data(), text.size(), seed);
}

// The first level uses one half of the hash, the levels below it the other half. Therefore "a/b"
// and "b/a" do not collide.
Top::Top(std::string_view name) : name(name), hash(static_cast<std::uint32_t>(hashOf(name))) {}
Name::Name(std::string_view text)
    : text(text), hash(static_cast<std::uint32_t>(hashOf(text) >> 32)) {}

bool Name::isNormal() const {
    if (text.empty())
        return true;
    std::uint64_t pairs = 0; // words overlap, so no pair is split between two
    forEachWord(text, wordSize - 1, [&](std::uint64_t word) {
        const std::uint64_t slashes = slashesIn(word);
        pairs |= slashes & slashes << 8;
    });
    return pairs == 0 && text.front() != '/' && text.back() != '/';
}

std::string Name::normal() const {
    std::string path;
    std::string_view rest = text;
    for (auto level = takeComponent(rest); !level.empty(); level = takeComponent(rest))
        path.append(path.empty() ? "" : "/").append(level);
    return path;
}

} // namespace filesystem
