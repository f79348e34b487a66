#include "register/Lock.h"
#include "register/Register.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace utils::properties {

namespace {

/// Calls `visit` with every key under which a change of `name` is told, nearest first, until it
/// returns true; whether it did.
template <class Visit>
bool forEachKey(std::string_view name, Visit visit) {
    for (std::string_view key = name; !key.empty();) {
        if (visit(key))
            return true;
        const std::size_t slash = key.rfind('/');
        if (key.size() == 1 || slash == std::string_view::npos)
            return false;
        key = key.substr(0, std::max<std::size_t>(slash, 1)); // a "/" in front is a key itself
    }
    return false;
}

/// Runs a function at the end of its scope.
template <class Function>
class Finally {
public:
    explicit Finally(Function function) : _function(function) {}
    ~Finally() { _function(); }
    Finally(const Finally &) = delete;
    Finally &operator=(const Finally &) = delete;

private:
    Function _function;
};

} // namespace

_Register::Callback::~Callback() = default;

void _Register::addCallback(const std::string &key, Callback *callback) {
    const Lock lock(*_mutex);
    const auto [first, last] = _callbacks.equal_range(key);
    const bool known =
        std::any_of(first, last, [=](auto &entry) { return entry.second == callback; });
    if (callback && !known)
        _callbacks.emplace(key, callback);
}

void _Register::removeCallback(Callback *callback) {
    const Lock lock(*_mutex);
    for (auto entry = _callbacks.begin(); entry != _callbacks.end();) {
        if (entry->second != callback) {
            ++entry;
        } else if (_walks == 0) {
            entry = _callbacks.erase(entry);
        } else {
            (entry++)->second = nullptr;
            _haveRemoved = true;
        }
    }
}

void _Register::markAsChanged(void *sender, const std::string &name) {
    const Lock lock(*_mutex);
    _changedProperties.insert(name);
    notify(sender);
}

bool _Register::hasCallbackFor(const std::string &name) const {
    return !_callbacks.empty() && forEachKey(name, [this](std::string_view key) {
        return _callbacks.find(key) != _callbacks.end();
    });
}

void _Register::notify(void *sender) {
    const Lock lock(*_mutex);
    // The names are taken out first, so that a callback that writes walks only its own change.
    std::set<std::string> names;
    names.swap(_changedProperties);
    try {
        for (const std::string &name : names)
            report(sender, name);
    } catch (...) {
        _changedProperties.merge(names);
        throw;
    }
}

/// Tells one change. Callbacks may add and remove callbacks meanwhile: an addition goes behind the
/// last entry of its key, a removal leaves its entry in place, so the range walked here stays
/// valid.
void _Register::report(void *sender, const std::string &name) {
    ++_walks;
    const Finally clear([this] {
        if (--_walks > 0 || !_haveRemoved)
            return;
        for (auto entry = _callbacks.begin(); entry != _callbacks.end();)
            entry = entry->second ? std::next(entry) : _callbacks.erase(entry);
        _haveRemoved = false;
    });
    forEachKey(name, [&](std::string_view key) {
        const auto [first, end] = _callbacks.equal_range(key);
        if (first == end)
            return false;
        const auto last = std::prev(end);
        for (auto entry = first;; ++entry) {
            // `owner` may remove the callback, so the entry is looked at twice.
            if (entry->second && entry->second->owner() != sender && entry->second)
                entry->second->propertyChanged(name);
            if (entry == last)
                return false;
        }
    });
}

} // namespace utils::properties
