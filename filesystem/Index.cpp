#include "filesystem/Index.h"

#include <algorithm>
#include <utility>

namespace filesystem {

void Index::reserve(std::size_t more) {
    const std::size_t needed = (_count + more) * 10 / 7 + 1; // at most 70 % are used
    if (needed <= _capacity)
        return;
    Index larger;
    larger._capacity = std::max({needed, _capacity * 5 / 4, std::size_t{16}});
    larger._slots.reset(new Slot[larger._capacity]);
    for (std::size_t at = 0; at < _capacity; ++at)
        if (!_slots[at].isFree())
            larger.insert(_slots[at]);
    *this = std::move(larger);
}

/// Takes the first slot whose entry is nearer to its home. That entry is then inserted again
/// further on.
void Index::insert(Slot slot) noexcept {
    std::size_t distance = 0;
    std::size_t at = home(slot.hash);
    for (; !_slots[at].isFree(); at = next(at), ++distance)
        if (const std::size_t other = distanceAt(at); other < distance) {
            std::swap(_slots[at], slot);
            distance = other;
        }
    _slots[at] = slot;
    ++_count;
}

void Index::erase(Slot *slot) noexcept {
    auto gap = static_cast<std::size_t>(slot - _slots.get());
    for (std::size_t at = next(gap); !_slots[at].isFree() && distanceAt(at) > 0; at = next(at)) {
        _slots[gap] = _slots[at];
        gap = at;
    }
    _slots[gap] = Slot();
    --_count;
}

} // namespace filesystem
