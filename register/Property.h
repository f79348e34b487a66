#pragma once

#include "register/Register.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/// What most applications use of the register: properties declared once, subscriptions and handles
/// that end by themselves. A thin layer over `_Register`, with its rules for names, threads and
/// callbacks. Declare properties anywhere; use everything here between `_Register::initialize` and
/// the end of `main`. Before `initialize` it throws `utils::Exception`.
namespace utils::properties {

/// The register, once `initialize` has been called; throws `utils::Exception` before that, because
/// a register made now would know no directories, and would later save over files it has never
/// read.
REGISTER_EXPORT _Register &initializedRegister();

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

    /// A scope is no default, though it would convert to one.
    Property(std::string name, RegisterScope scope) = delete;
    /// Text is no boolean, though it would convert to one.
    template <class Text,
              class = std::enable_if_t<std::is_same_v<Value, bool> && std::is_pointer_v<Text>>>
    Property(std::string name, Text text, RegisterScope scope = UserScope) = delete;

    const std::string &name() const { return _name; }
    const Value &defaultValue() const { return _default; }
    RegisterScope scope() const { return _scope; }

    /// The value of the user, else of the global, else of the temp scope, else the default. What is
    /// stored under the name with another type, or damaged, counts as missing.
    Value value() const {
        Stored stored{};
        return initializedRegister().findValue(_name, stored)
                   ? Storage<Value>::load(std::move(stored))
                   : _default;
    }

    /// The scope that `value` comes from; none for the default.
    std::optional<RegisterScope> origin() const {
        Stored stored{};
        return initializedRegister().findValue(_name, stored);
    }

    /// True when the property's own scope holds a value of its type.
    bool isSet() const {
        Stored stored{};
        return initializedRegister().findValue(_name, stored, _scope).has_value();
    }

    /// Writes the value into the property's scope and tells the callbacks, except those of
    /// `sender`. Throws `utils::Exception` where the name cannot be written, and what a callback
    /// throws.
    void set(const Value &value, void *sender = nullptr) const {
        Storage<Value>::write(initializedRegister(), sender, _name, value, _scope);
    }

    /// Removes the value from the property's scope, whatever its type, so that what lies below
    /// shows through, and tells the callbacks. Nothing happens where there is none, or a group.
    void reset(void *sender = nullptr) const {
        initializedRegister().resetProperty(sender, _name, _scope);
    }

private:
    std::string _name;
    Value _default;
    RegisterScope _scope;
};

/// Calls a function for every change of a property, or of any property of a group, until it is
/// destroyed.
///
/// The function gets the name that changed. It runs inside the write, on the writer's thread and
/// under the register's lock. It may read and write the register, make and end subscriptions, its
/// own included; it must not wait for another thread that uses the register. What it throws goes on
/// to the writer. A subscription made by it hears of the change under way only if the walk has yet
/// to come to its key; a subscription ended by it does not.
///
/// Once the destructor has returned the function is not running any more, on any thread, and will
/// not run again; so do not destroy it while holding a lock that the function takes. Not supported:
/// keeping a subscription beyond the end of `main` and hearing of anything there.
class [[nodiscard]] REGISTER_EXPORT Subscription {
public:
    using Function = std::function<void(const std::string &name)>;

    /// A subscription to nothing.
    Subscription();
    /// `key` is the name of a property or of a group, spelt as the writers spell it: "ui" hears of
    /// "ui/width", but neither "ui/" nor "" does. Changes made with this `sender` are left out;
    /// without one, all changes are heard, those without a sender too. An empty function is refused
    /// with `utils::Exception`.
    explicit Subscription(const std::string &key, Function function, void *sender = nullptr);
    Subscription(Subscription &&other) noexcept;
    Subscription &operator=(Subscription &&other) noexcept;
    ~Subscription();

private:
    class Receiver;
    std::unique_ptr<Receiver> _receiver;
};

/// A property's bytes, open until the end of the scope; see `_Register::openProperty`, which says
/// what the constructor throws.
class REGISTER_EXPORT PropertyHandle {
public:
    PropertyHandle(const std::string &name, filesystem::FileSystem::FileSystemMode mode,
                   RegisterScope scope);
    PropertyHandle(PropertyHandle &&other) noexcept;
    PropertyHandle &operator=(PropertyHandle &&other) noexcept;
    /// Closes it: what was written becomes the property's content; but not when an exception is
    /// what destroys it, since then it may not be all, and not when memory runs out. To hear of the
    /// latter, use `_Register::openProperty` and `closeProperty`, which throws.
    ~PropertyHandle();

    /// For the file-system operations of the register; owned by this object.
    filesystem::FileHandle *get() const { return _handle; }

private:
    filesystem::FileHandle *_handle;
    int _exceptions; ///< under way when it was opened
};

/// The eight types of the register, stored as they are.
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

/// Text of Qt. Writing text that is not valid UTF-16 throws `utils::Exception`, since UTF-8 could
/// not hold it; bytes that are not UTF-8 are read as U+FFFD.
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
