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

/// The callbacks of the register, each under one key or several, and the walks that notify
/// them of a change. Guarded by the register's lock.
///
/// Finding the callbacks of a key is an ordered search; a filter avoids most searches that would
/// find nothing, so that a change to which nobody listens costs little, however many callbacks
/// there are. Removing a callback visits only its own entries.
///
/// During a walk the callbacks may add and remove callbacks and make changes, whose walks run
/// inside the one under way. An addition goes behind the last entry of its key. A removal leaves
/// its entry in place, with a null pointer, until the outermost walk ends. So the entries that a
/// walk stands on stay valid, and no walk calls a callback that has been removed.
class Callbacks {
public:
    using Callback = _Register::Callback;

    /// Registers a callback behind the others of the key, unless it is there or null. Changes
    /// nothing when memory runs out.
    void add(const std::string &key, Callback *callback);
    /// Removes a callback from all its keys. It is not called again, also not by walks under way.
    void remove(Callback *callback) noexcept;
    /// Removes all of them.
    void clear() noexcept;

    /// True when a change of the name would notify a callback.
    bool hears(std::string_view name) const;
    /// Notifies the callbacks that the name has changed, those of the nearest key first, in the
    /// order of registration, but not those that belong to `sender`. Throws what they throw.
    void notify(void *sender, const std::string &name);

private:
    using Entries = std::multimap<std::string, Callback *, std::less<>>;
    /// A callback and its entry's key.
    using Registration = std::pair<Callback *, std::string_view>;
    class Walk;

    void notifyUnder(std::string_view key, void *sender, const std::string &name);
    void eraseRemoved() noexcept;
    void fillFilter() noexcept;

    Entries _entries; ///< null pointers: removed during a walk
    std::map<Registration, Entries::iterator> _registrations;
    /// What was removed during walks; its entries have not been erased yet.
    std::multimap<Registration, Entries::iterator> _removed;
    KeyFilter _filter;       ///< holds all keys of entries, and some whose entries are gone
    std::size_t _erased = 0; ///< entries erased since the filter was filled
    int _walks = 0;          ///< walks under way, one inside the other
};

} // namespace utils::properties
