#pragma once

#include "register/Register.h"

#include <set>
#include <string>

namespace utils::properties {

/// A change of one property that the callbacks are notified of. What that needs is allocated before
/// the change, so that running out of memory leaves the tree and the marks as they were. Used
/// under the lock.
class Change {
public:
    Change(_Register &reg, const std::string &name);

    filesystem::Tree &tree() const { return _register.tree(); }
    /// Marks the name as changed and notifies. Does nothing when nobody listens.
    void notify(void *sender);

private:
    _Register &_register;
    std::set<std::string> _mark; ///< the name, if anybody has to be notified
};

} // namespace utils::properties
