#include "register/KeyFilter.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace utils::properties {

namespace {

/// The length in bytes of the longest key in the filter. The answer for a longer key is always
/// "perhaps". The limit bounds the cost of a key with many levels, and the hash is fastest up to
/// this length.
constexpr std::size_t longest = 240;

/// Returns a word with three bits set. The low 18 bits of the hash choose them.
std::uint64_t threeBits(std::uint64_t hash) {
    const auto bit = [hash](int shift) { return std::uint64_t{1} << ((hash >> shift) & 63); };
    return bit(0) | bit(6) | bit(12);
}

} // namespace

/// The word of a key and its bits in that word. Different bits of the hash choose each of them.
struct KeyFilter::Bits {
    Bits(std::string_view key, std::size_t words) {
        const std::uint64_t hash = XXH3_64bits(key.data(), key.size());
        word = hash & (words - 1);
        forKey = threeBits(hash >> 28);
        forLonger = threeBits(hash >> 46);
    }
    std::size_t word;
    std::uint64_t forKey, forLonger;
};

KeyFilter::Answer KeyFilter::ask(std::string_view key) const {
    if (key.size() > longest)
        return {true, true};
    const Bits bits(key, _words.size());
    const std::uint64_t word = _words[bits.word];
    return {(word & bits.forKey) == bits.forKey, (word & bits.forLonger) == bits.forLonger};
}

void KeyFilter::add(std::string_view key) noexcept {
    for (std::size_t length = 0; length < std::min(key.size(), longest);) {
        length = nextKeyLength(key, length);
        if (length > longest)
            return;
        const Bits bits(key.substr(0, length), _words.size());
        const std::uint64_t set = length == key.size() ? bits.forKey : bits.forLonger;
        std::uint64_t &word = _words[bits.word];
        _added += (word & set) != set;
        word |= set;
    }
}

bool KeyFilter::isFull() const {
    constexpr std::size_t perWord = 4; // about 1 % of the answers are wrong then
    return _added >= perWord * _words.size();
}

void KeyFilter::clear() noexcept {
    std::fill(_words.begin(), _words.end(), 0);
    _added = 0;
}

void KeyFilter::clearAndGrow() {
    std::vector<std::uint64_t>(2 * _words.size()).swap(_words);
    _added = 0;
}

} // namespace utils::properties
