#include "register/Callbacks.h"

#include <algorithm>
#include <iterator>

namespace utils::properties {

namespace {

/// Returns the longest key that covers the same name and is shorter than `key`; empty if there is
/// none.
std::string_view keyAbove(std::string_view key) {
    const std::size_t slash = key.rfind('/');
    if (key.size() == 1 || slash == std::string_view::npos)
        return {};
    return key.substr(0, std::max<std::size_t>(slash, 1)); // a leading "/" is a key
}

} // namespace

class Callbacks::Walk {
public:
    explicit Walk(Callbacks &callbacks) : _callbacks(callbacks) { ++_callbacks._walks; }
    ~Walk() {
        if (--_callbacks._walks == 0)
            _callbacks.eraseRemoved();
    }
    Walk(const Walk &) = delete;
    Walk &operator=(const Walk &) = delete;

private:
    Callbacks &_callbacks;
};

void Callbacks::add(const std::string &key, Callback *callback) {
    if (!callback || _registrations.count({callback, key}) > 0)
        return;
    if (_filter.isFull()) {
        _filter.clearAndGrow();
        fillFilter();
    }
    const auto entry = _entries.emplace(key, callback);
    try {
        _registrations.emplace(Registration(callback, entry->first), entry);
    } catch (...) {
        _entries.erase(entry);
        throw;
    }
    _filter.add(key);
}

void Callbacks::remove(Callback *callback) noexcept {
    auto next = _registrations.lower_bound({callback, {}});
    while (next != _registrations.end() && next->first.first == callback) {
        const auto registration = next++;
        registration->second->second = nullptr;
        _removed.insert(_registrations.extract(registration)); // does not allocate
    }
    if (_walks == 0)
        eraseRemoved();
}

void Callbacks::clear() noexcept {
    _removed.clear();
    _registrations.clear();
    _entries.clear();
}

bool Callbacks::hears(std::string_view name) const {
    if (!_entries.empty() && _entries.begin()->first.empty())
        return true;
    for (std::size_t length = 0; length < name.size() && !_entries.empty();) {
        length = nextKeyLength(name, length);
        const std::string_view key = name.substr(0, length);
        const KeyFilter::Answer answer = _filter.ask(key);
        if (answer.mayBeKey && _entries.find(key) != _entries.end())
            return true;
        if (!answer.mayHaveLonger)
            return false;
    }
    return false;
}

void Callbacks::notify(void *sender, const std::string &name) {
    const Walk walk(*this);
    for (std::string_view key = name; !key.empty(); key = keyAbove(key))
        if (_filter.ask(key).mayBeKey)
            notifyUnder(key, sender, name);
    notifyUnder({}, sender, name);
}

void Callbacks::notifyUnder(std::string_view key, void *sender, const std::string &name) {
    const auto [first, end] = _entries.equal_range(key);
    if (first == end)
        return;
    const auto last = std::prev(end); // callbacks add entries only after it
    for (auto entry = first;; ++entry) {
        // `owner` may remove the callback, so the pointer is tested again.
        if (entry->second && entry->second->owner() != sender && entry->second)
            entry->second->propertyChanged(name);
        if (entry == last)
            return;
    }
}

void Callbacks::eraseRemoved() noexcept {
    for (const auto &[registration, entry] : _removed)
        _entries.erase(entry);
    _erased += _removed.size();
    _removed.clear();
    constexpr std::size_t few = 64;
    if (_erased > _entries.size() + few) {
        _filter.clear();
        fillFilter();
    }
}

/// Adds all keys to the filter, which must be empty.
void Callbacks::fillFilter() noexcept {
    for (const auto &[key, callback] : _entries)
        _filter.add(key);
    _erased = 0;
}

} // namespace utils::properties
