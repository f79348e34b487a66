#pragma once

#include "register/Property.h"

#include <set>
#include <string>
#include <utility>

namespace utils::properties {

/// A group of the register, as an object. Its properties are written to one scope and read from
/// all. The rules for threads and for the time before `initialize` are those of `Property`.
class REGISTER_EXPORT Group {
public:
    /// The empty name is the root: the group of everything.
    explicit Group(std::string name, RegisterScope scope = UserScope);

    /// The name of the group.
    const std::string &name() const { return _name; }
    /// The scope that the group is written to.
    RegisterScope scope() const { return _scope; }

    /// A property of the group.
    template <class Value>
    Property<Value> property(const std::string &name, Value defaultValue = Value(),
                             Limits<Value> limits = {}) const {
        return Property<Value>(nameOf(name), std::move(defaultValue), std::move(limits), _scope);
    }
    /// A group in the group.
    Group group(const std::string &name) const { return Group(nameOf(name), _scope); }

    /// Returns the names of the properties that lie directly in the group, in any scope.
    std::set<std::string> names() const;
    /// Returns the names of the groups that lie directly in the group, in any scope.
    std::set<std::string> groupNames() const;

    /// Removes everything in the group from its scope. Then notifies the callbacks once for each
    /// property that was removed, except those whose owner is `sender`.
    void reset(void *sender = nullptr) const;

    /// Subscribes to all names in the group, spelt as the writers spell them.
    Subscription subscribe(Subscription::Function function, void *sender = nullptr) const;

private:
    std::string nameOf(const std::string &member) const;
    std::set<std::string> members(bool groups) const;

    std::string _name;
    RegisterScope _scope;
};

} // namespace utils::properties
