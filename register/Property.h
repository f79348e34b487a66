#pragma once

#include "register/Limits.h"
#include "register/Storage.h"
#include "register/Subscription.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

/// The part of the register that most applications use: properties that are declared once, and
/// subscriptions and handles that end automatically. It is a thin layer over `_Register`, whose
/// rules for names, threads and callbacks apply. Properties may be declared at any time. Everything
/// else here is for the time between `_Register::initialize` and the end of `main`. Before
/// `initialize` it throws `utils::Exception`.
namespace utils::properties {

/// A setting: its name, its default and the scope that it is written to.
///
/// `Value` is `std::string`, `double`, `int`, `bool`, a `std::vector` of one of them, `QString`,
/// `QStringList`, or any other type with a `Storage`. Any number of threads may use one property.
template <class Value>
class Property {
    static_assert(isRegisterType<typename StoredType<Value>::Type>);

public:
    /// Declares a property; reads and writes nothing.
    explicit Property(std::string name, Value defaultValue = Value(),
                      RegisterScope scope = UserScope)
        : _name(std::move(name)), _default(std::move(defaultValue)), _scope(scope) {}

    /// Takes limits such as `Range(6, 72)` or `OneOf("flat", "round")`. A stored value outside them
    /// counts as missing. Throws `utils::Exception` for a default outside them.
    Property(std::string name, Value defaultValue, Limits<Value> limits,
             RegisterScope scope = UserScope)
        : _limits(std::move(limits)), _name(std::move(name)), _default(std::move(defaultValue)),
          _scope(scope) {
        _limits.check(_name, _default);
    }

    /// Rejects a scope as the default, although it would convert to one.
    Property(std::string name, RegisterScope scope) = delete;
    /// Rejects text as the default of a boolean, although it would convert to one.
    template <class Text,
              class = std::enable_if_t<std::is_same_v<Value, bool> && std::is_pointer_v<Text>>>
    Property(std::string name, Text text, RegisterScope scope = UserScope) = delete;

    ///@{
    /// What the constructor was given.
    const std::string &name() const { return _name; }
    const Value &defaultValue() const { return _default; }
    RegisterScope scope() const { return _scope; }
    const Limits<Value> &limits() const { return _limits; }
    ///@}

    /// Returns the value of the first scope, in lookup order, that holds one of this type; else the
    /// default. A damaged value, a value of another type, one that `Storage` does not accept and
    /// one outside the limits count as missing.
    Value value() const {
        std::optional<Found<Value>> found = find();
        return found ? std::move(found->value) : _default;
    }

    /// Returns the scope that `value` reads from; no scope for the default.
    std::optional<RegisterScope> origin() const {
        const std::optional<Found<Value>> found = find();
        return found ? std::optional(found->scope) : std::nullopt;
    }

    /// Returns the value that `value` returns after `reset`.
    Value valueAfterReset() const {
        const RegisterLock lock;
        for (const RegisterScope scope : lookupOrder)
            if (scope != _scope)
                if (std::optional<Found<Value>> found = find(scope))
                    return std::move(found->value);
        return _default;
    }

    /// True when the property's own scope holds a value of its type.
    bool isSet() const { return find(_scope).has_value(); }

    /// Writes the value into the property's scope and notifies the callbacks, except those whose
    /// owner is `sender`. Throws `utils::Exception` when the name cannot be written, or when the
    /// value cannot be stored or lies outside the limits. Throws what a callback throws.
    void set(const Value &value, void *sender = nullptr) const {
        _limits.check(_name, value);
        writeStored(initializedRegister(), sender, _name, value, _scope);
    }

    /// Removes the value from the property's scope, whatever its type, and notifies the callbacks
    /// as `set` does. `value` then returns the value of another scope or the default. Does nothing
    /// when the scope holds no value or a group under the name.
    void reset(void *sender = nullptr) const {
        initializedRegister().resetProperty(sender, _name, _scope);
    }

private:
    std::optional<Found<Value>> find(std::optional<RegisterScope> only = {}) const {
        return findStored<Value>(initializedRegister(), _name, only, _limits);
    }

    Limits<Value> _limits; // beside the name, since `value` reads both
    std::string _name;
    Value _default;
    RegisterScope _scope;
};

/// A property's bytes, open until this object is destroyed.
class REGISTER_EXPORT PropertyHandle {
public:
    /// Throws what `_Register::openProperty` throws.
    PropertyHandle(const std::string &name, filesystem::FileSystem::FileSystemMode mode,
                   RegisterScope scope);
    ///@{
    /// Moves the open handle; `other` has none afterwards.
    PropertyHandle(PropertyHandle &&other) noexcept;
    PropertyHandle &operator=(PropertyHandle &&other) noexcept;
    ///@}
    /// Closes the handle. The bytes written become the property's content. If an exception destroys
    /// this object, the bytes are dropped, since they may be incomplete. If memory runs out, they
    /// are dropped without an error; call `_Register::openProperty` and `closeProperty` instead to
    /// get the exception.
    ~PropertyHandle();

    /// For the file-system operations of the register. This object owns the handle.
    filesystem::FileHandle *get() const { return _handle; }

private:
    filesystem::FileHandle *_handle;
    int _exceptions; ///< uncaught exceptions when the handle was opened
};

} // namespace utils::properties
