#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace utils::properties {

/// A change of `name` notifies the keys that are a part of it up to a "/", and the whole:
/// "a" and "a/b" for "a/b"; "/", "/a" and "/a/b" for "/a/b"; "a", "a/" and "a//b" for "a//b".
/// Returns the length of the next one that is longer than `length`, from 0 up to the whole.
inline std::size_t nextKeyLength(std::string_view name, std::size_t length) {
    if (length == 0 && name.front() == '/')
        return 1;
    return std::min(name.find('/', length + 1), name.size());
}

/// Tells quickly that no callback is registered under a key. When it says "perhaps", it may be
/// wrong; when it says "no", it is right.
///
/// The hash of a key chooses a word and three bits in it. Adding a key sets them, and for each
/// shorter key that it begins with ("a" for "a/b") three other bits, which say that a search from
/// the shortest key on must continue. Nothing can be removed but everything.
class KeyFilter {
public:
    struct Answer {
        bool mayBeKey;      ///< this key has perhaps been added
        bool mayHaveLonger; ///< a longer key of which this is a part has perhaps been added
    };

    Answer ask(std::string_view key) const;

    /// Adds a key. The room stays as it is; the fuller it is, the more often an answer is wrong.
    void add(std::string_view key) noexcept;
    /// True when there should be more room.
    bool isFull() const;
    /// Forgets all keys.
    void clear() noexcept;
    /// Forgets all keys and doubles the room. Changes nothing when memory runs out.
    void clearAndGrow();

private:
    struct Bits;

    static constexpr std::size_t leastWords = 16;
    std::vector<std::uint64_t> _words = std::vector<std::uint64_t>(leastWords); ///< a power of two
    std::size_t _added = 0; ///< keys, long and short, whose bits were not all set before
};

} // namespace utils::properties
