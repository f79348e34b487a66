#pragma once

#include "qt/Export.h"
#include "register/PropertyValue.h"
#include "register/Register.h"

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace utils::properties {

/// Where a `RegisterModel` reads and writes: the register of the process, or register files.
class REGISTER_QT_EXPORT RegisterSource {
public:
    /// A member of a group, by its own one-level name.
    struct Member {
        std::string name; ///< of one level
        bool isGroup;     ///< otherwise a property
    };

    virtual ~RegisterSource();

    /// The scopes, in lookup order.
    virtual std::vector<RegisterScope> scopes() const = 0;
    /// The members of a group in one scope, in any order; none if there is no such group.
    virtual std::vector<Member> members(const std::string &group, RegisterScope scope) const = 0;
    /// True when the name is a group in the scope.
    virtual bool isGroup(const std::string &name, RegisterScope scope) const = 0;
    /// The property in one scope; `std::monostate` for none. A damaged value reads as `NoValue`.
    virtual PropertyValue read(const std::string &name, RegisterScope scope) const = 0;

    /// True when `write` may succeed in the scope.
    virtual bool isWritable(RegisterScope scope) const = 0;
    /// Writes a property, or removes it with `std::monostate`. Throws `utils::Exception` when the
    /// name cannot be written. Does not tell the listener of this source.
    virtual void write(const std::string &name, const PropertyValue &value,
                       RegisterScope scope) = 0;

    /// Sets the function that is told the name of each change that others make, on any thread. An
    /// empty function ends that: when this returns, the old function is not running.
    virtual void setListener(std::function<void(const std::string &name)> listener) = 0;
};

/// The register of this process, after `_Register::initialize`.
REGISTER_QT_EXPORT std::unique_ptr<RegisterSource> processRegister();

} // namespace utils::properties
