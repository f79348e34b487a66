#pragma once

#include "register/Register.h"
#include "register/Subscription.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/// The part of the register that most applications use: properties that are declared once, and
/// subscriptions and handles that end automatically. It is a thin layer over `_Register`, whose
/// rules for names, threads and callbacks apply. Properties may be declared at any time. Everything
/// else here is for the time between `_Register::initialize` and the end of `main`. Before
/// `initialize` it throws `utils::Exception`.
namespace utils::properties {

template <class>
constexpr bool isStorable = false;

/// How a type is stored; `Stored` is one of the eight types of the register.
template <class Value>
struct Storage {
    static_assert(isStorable<Value>,
                  "A Property is of std::string, double, int, bool, a std::vector "
                  "of one of them, QString or QStringList.");
};

/// A setting: its name, its default and the scope that it is written to.
///
/// `Value` is `std::string`, `double`, `int`, `bool`, a `std::vector` of one of them, `QString` or
/// `QStringList` (both stored as UTF-8). Any number of threads may use one property.
template <class Value>
class Property {
    using Stored = typename Storage<Value>::Stored;

public:
    explicit Property(std::string name, Value defaultValue = Value(),
                      RegisterScope scope = UserScope)
        : _name(std::move(name)), _default(std::move(defaultValue)), _scope(scope) {}

    /// Rejects a scope as the default, although it would convert to one.
    Property(std::string name, RegisterScope scope) = delete;
    /// Rejects text as the default of a boolean, although it would convert to one.
    template <class Text,
              class = std::enable_if_t<std::is_same_v<Value, bool> && std::is_pointer_v<Text>>>
    Property(std::string name, Text text, RegisterScope scope = UserScope) = delete;

    const std::string &name() const { return _name; }
    const Value &defaultValue() const { return _default; }
    RegisterScope scope() const { return _scope; }

    /// Returns the value of the first scope, in lookup order, that holds one of this type; else the
    /// default. A damaged value and a value of another type count as missing.
    Value value() const {
        Stored stored{};
        return initializedRegister().findValue(_name, stored)
                   ? Storage<Value>::load(std::move(stored))
                   : _default;
    }

    /// Returns the scope that `value` reads from; no scope for the default.
    std::optional<RegisterScope> origin() const {
        Stored stored{};
        return initializedRegister().findValue(_name, stored);
    }

    /// True when the property's own scope holds a value of its type.
    bool isSet() const {
        Stored stored{};
        return initializedRegister().findValue(_name, stored, _scope).has_value();
    }

    /// Writes the value into the property's scope and notifies the callbacks, except those whose
    /// owner is `sender`. Throws `utils::Exception` when the name cannot be written. Throws what a
    /// callback throws.
    void set(const Value &value, void *sender = nullptr) const {
        Storage<Value>::write(initializedRegister(), sender, _name, value, _scope);
    }

    /// Removes the value from the property's scope, whatever its type, and notifies the callbacks
    /// as `set` does. `value` then returns the value of another scope or the default. Does nothing
    /// when the scope holds no value or a group under the name.
    void reset(void *sender = nullptr) const {
        initializedRegister().resetProperty(sender, _name, _scope);
    }

private:
    std::string _name;
    Value _default;
    RegisterScope _scope;
};

/// A property's bytes, open until this object is destroyed. The constructor throws what
/// `_Register::openProperty` throws.
class REGISTER_EXPORT PropertyHandle {
public:
    PropertyHandle(const std::string &name, filesystem::FileSystem::FileSystemMode mode,
                   RegisterScope scope);
    PropertyHandle(PropertyHandle &&other) noexcept;
    PropertyHandle &operator=(PropertyHandle &&other) noexcept;
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

/// The eight types of the register, which are stored without conversion.
template <class Value,
          void (_Register::*writeValue)(void *, const std::string &, const Value &, RegisterScope)>
struct StoredAsItIs {
    using Stored = Value;
    static Value load(Stored &&stored) { return std::move(stored); }
    static void write(_Register &reg, void *sender, const std::string &name, const Value &value,
                      RegisterScope scope) {
        (reg.*writeValue)(sender, name, value, scope);
    }
};

template <>
struct Storage<std::string> : StoredAsItIs<std::string, &_Register::_writeString> {};
template <>
struct Storage<double> : StoredAsItIs<double, &_Register::_writeNumber> {};
template <>
struct Storage<int> : StoredAsItIs<int, &_Register::_writeInteger> {};
template <>
struct Storage<bool> : StoredAsItIs<bool, &_Register::_writeBoolean> {};
template <>
struct Storage<std::vector<std::string>>
    : StoredAsItIs<std::vector<std::string>, &_Register::_writeStrings> {};
template <>
struct Storage<std::vector<double>> : StoredAsItIs<std::vector<double>, &_Register::_writeNumbers> {
};
template <>
struct Storage<std::vector<int>> : StoredAsItIs<std::vector<int>, &_Register::_writeIntegers> {};
template <>
struct Storage<std::vector<bool>> : StoredAsItIs<std::vector<bool>, &_Register::_writeBooleans> {};

/// Text of Qt. A write throws `utils::Exception` for text that is not valid UTF-16, because UTF-8
/// cannot represent it. A read replaces bytes that are not UTF-8 by U+FFFD.
template <>
struct REGISTER_EXPORT Storage<QString> {
    using Stored = std::string;
    static QString load(const Stored &stored);
    static void write(_Register &reg, void *sender, const std::string &name, const QString &value,
                      RegisterScope scope);
};
template <>
struct REGISTER_EXPORT Storage<QStringList> {
    using Stored = std::vector<std::string>;
    static QStringList load(const Stored &stored);
    static void write(_Register &reg, void *sender, const std::string &name,
                      const QStringList &value, RegisterScope scope);
};

} // namespace utils::properties
