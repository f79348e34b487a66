#pragma once

#include "register/Register.h"

#include <set>
#include <string>

namespace utils::properties {

/// A change of one property. The constructor allocates what the notification needs. Therefore
/// running out of memory leaves the tree and the marks unchanged. Construct it, change the tree and
/// notify, all under the register's lock.
class Change {
public:
    Change(_Register &reg, const std::string &name);

    filesystem::Tree &tree() const { return _register.tree(); }
    /// Marks the name as changed and notifies the callbacks. Does nothing when, at construction, no
    /// callback's key covered the name and no name was marked.
    void notify(void *sender);

private:
    _Register &_register;
    std::set<std::string> _mark; ///< the name; empty when `notify` has nothing to do
};

} // namespace utils::properties
