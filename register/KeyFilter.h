#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace utils::properties {

/// A key covers `name` when it is `name`, a prefix of it that a "/" follows, or the "/" at its
/// front: "a" and "a/b" cover "a/b"; "/", "/a" and "/a/b" cover "/a/b"; "a", "a/" and "a//b" cover
/// "a//b". Returns the length of the shortest key that covers `name` and is longer than `length`. A
/// loop over all of them starts with 0 and ends at the whole name.
inline std::size_t nextKeyLength(std::string_view name, std::size_t length) {
    if (length == 0 && name.front() == '/')
        return 1;
    return std::min(name.find('/', length + 1), name.size());
}

/// Reports quickly that no callback is registered under a key. The answer "no" is always right; the
/// answer "perhaps" may be wrong.
///
/// The hash of a key chooses a word and three bits in it. Adding a key sets them. It also sets
/// three other bits for each shorter key that covers it ("a" for "a/b"). They mean that a search,
/// which starts with the shortest key, must continue. A single key cannot be removed.
class KeyFilter {
public:
    struct Answer {
        bool mayBeKey;      ///< this key may have been added
        bool mayHaveLonger; ///< a longer key that this one covers may have been added
    };

    Answer ask(std::string_view key) const;

    /// Adds a key. Does not allocate. The fuller the filter is, the more often an answer is wrong.
    void add(std::string_view key) noexcept;
    /// True when the filter should grow.
    bool isFull() const;
    void clear() noexcept;
    /// Removes all keys and doubles the number of words. Changes nothing when memory runs out.
    void clearAndGrow();

private:
    struct Bits;

    static constexpr std::size_t leastWords = 16;
    std::vector<std::uint64_t> _words = std::vector<std::uint64_t>(leastWords); ///< 2^n words
    std::size_t _added = 0; ///< keys and shorter keys whose bits were not all set before
};

} // namespace utils::properties
