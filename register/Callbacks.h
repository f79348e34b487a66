#pragma once

#include "register/KeyFilter.h"
#include "register/Register.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace utils::properties {

/// The callbacks of the register, each under one or more keys, and the walks that notify them of
/// changes. Guarded by the register's lock.
///
/// Finding the callbacks of a key is an ordered search. A filter avoids most searches that would
/// find nothing. Therefore a change that notifies nobody costs little, however many callbacks there
/// are. Removing a callback visits only its own entries.
///
/// During a walk, the callbacks may add and remove callbacks and make changes. The walk of such a
/// change is nested in the walk in progress. A new entry is placed after the last entry of its key.
/// A removed entry stays in place, with a null pointer, until the outermost walk ends. Therefore
/// the entries that a walk refers to stay valid, and no walk calls a removed callback.
class Callbacks {
public:
    using Callback = _Register::Callback;

    /// Registers a callback after the others of the key. Does nothing when the pair is already
    /// registered or the callback is null. Changes nothing when memory runs out.
    void add(const std::string &key, Callback *callback);
    /// The same for all names. These callbacks are called last.
    void addForAll(Callback *callback) { add({}, callback); }
    /// Removes a callback from all its keys. Walks in progress do not call it again.
    void remove(Callback *callback) noexcept;
    void clear() noexcept;

    /// True when a callback is registered under a key that covers `name`.
    bool hears(std::string_view name) const;
    /// Notifies the callbacks that `name` has changed, except those whose owner is `sender`. The
    /// most specific key comes first; the callbacks of one key come in the order of registration.
    /// Throws what a callback throws.
    void notify(void *sender, const std::string &name);

private:
    using Entries = std::multimap<std::string, Callback *, std::less<>>;
    /// A callback and a view of its entry's key.
    using Registration = std::pair<Callback *, std::string_view>;
    class Walk;

    void notifyUnder(std::string_view key, void *sender, const std::string &name);
    void eraseRemoved() noexcept;
    void fillFilter() noexcept;

    /// By key; the empty key stands for all names. Null pointers: removed during a walk.
    Entries _entries;
    std::map<Registration, Entries::iterator> _registrations;
    /// Registrations removed during walks, whose entries are not erased yet.
    std::multimap<Registration, Entries::iterator> _removed;
    KeyFilter _filter;       ///< holds the keys of all entries, and of some erased ones
    std::size_t _erased = 0; ///< entries erased since the filter was filled
    int _walks = 0;          ///< nested walks in progress
};

} // namespace utils::properties
