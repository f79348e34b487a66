#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace filesystem {

/// Finds the groups and properties of a tree by the hash of their path. A hash table with open
/// addressing and linear probing.
///
/// Each slot stores its hash, so growth and removal read no names. Slots are ordered by their homes
/// ("Robin Hood hashing"). Therefore a search for a missing entry ends early, and a removal moves
/// the following slots back. There are no tombstones.
class Index {
public:
    static constexpr std::uint32_t none = UINT32_MAX;

    struct Slot {
        std::uint32_t hash;
        std::uint32_t group = none;  ///< `none` in a free slot
        std::uint32_t offset = none; ///< of a property in its group's block; `none` for a group

        bool isFree() const { return group == none; }
        bool isGroup() const { return offset == none; }
    };

    /// Returns the first slot with this hash that `matches` accepts, or null. The slot is valid
    /// until the next `reserve`, `insert` or `erase`.
    template <class Matches>
    Slot *find(std::uint32_t hash, Matches matches) const {
        if (_capacity == 0)
            return nullptr;
        std::size_t distance = 0;
        for (std::size_t at = home(hash); !_slots[at].isFree(); at = next(at), ++distance) {
            if (_slots[at].hash == hash && matches(_slots[at]))
                return &_slots[at];
            if (distanceAt(at) < distance)
                return nullptr;
        }
        return nullptr;
    }

    /// Makes room for `more` insertions, which then cannot fail. Throws `std::bad_alloc`, with
    /// nothing changed.
    void reserve(std::size_t more);
    void insert(Slot slot) noexcept;
    void erase(Slot *slot) noexcept;

private:
    std::size_t home(std::uint32_t hash) const {
        return static_cast<std::size_t>(std::uint64_t{hash} * _capacity >> 32);
    }
    std::size_t next(std::size_t at) const { return at + 1 == _capacity ? 0 : at + 1; }
    /// The distance of a used slot from its home.
    std::size_t distanceAt(std::size_t at) const {
        const std::size_t start = home(_slots[at].hash);
        return at >= start ? at - start : at + _capacity - start;
    }

    std::unique_ptr<Slot[]> _slots;
    std::size_t _capacity = 0;
    std::size_t _count = 0;
};

} // namespace filesystem
