#pragma once

#include "register/Register.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/// How the types of an application become values of the register. `Property` uses it.
namespace utils::properties {

///@{
/// The write of `_Register` for each type that the register stores; null for all other types.
template <class>
inline constexpr auto writeOf = nullptr;
template <>
inline constexpr auto writeOf<std::string> = &_Register::_writeString;
template <>
inline constexpr auto writeOf<double> = &_Register::_writeNumber;
template <>
inline constexpr auto writeOf<int> = &_Register::_writeInteger;
template <>
inline constexpr auto writeOf<bool> = &_Register::_writeBoolean;
template <>
inline constexpr auto writeOf<std::vector<std::string>> = &_Register::_writeStrings;
template <>
inline constexpr auto writeOf<std::vector<double>> = &_Register::_writeNumbers;
template <>
inline constexpr auto writeOf<std::vector<int>> = &_Register::_writeIntegers;
template <>
inline constexpr auto writeOf<std::vector<bool>> = &_Register::_writeBooleans;
///@}

/// True for the eight types that the register stores without conversion.
template <class Value>
inline constexpr bool isRegisterType = std::is_member_function_pointer_v<decltype(writeOf<Value>)>;

/// Converts between a type of the application and the type that it is stored as. Specialize it for
/// a type of your own:
///
///     template <>
///     struct utils::properties::Storage<Percent> {
///         using Stored = int; // one of the eight types of the register
///         static std::optional<Percent> load(Stored &&stored);
///         static Stored store(const Percent &percent);
///     };
///
/// `load` returns no value for a stored value that is not one of its own. A read then continues in
/// the next scope. A `load` that accepts everything may return `Value` itself. `store` may return a
/// reference. It throws `utils::Exception` for a value that cannot be stored, with the reason as
/// its message; the property's name is added. What `store` returns, `load` must accept.
///
/// `Enable` is for the conditions of a partial specialization. Several threads may call both
/// functions at once.
template <class Value, class Enable = void>
struct Storage {
    static_assert(isRegisterType<Value>,
                  "There is no Storage for this type. Property.h has std::string, double, int, "
                  "bool, QString, QStringList and std::vector; QtTypes.h and GuiTypes.h have more "
                  "types of Qt, with enumerations that Q_ENUM or Q_FLAG declares. QVariantMap is "
                  "not supported: store each entry as a property of one group. For a type of your "
                  "own, specialize utils::properties::Storage.");

    using Stored = Value; ///< the type that is stored
    /// Returns the stored value itself.
    static Value load(Value &&stored) { return std::move(stored); }
    /// Returns the value itself.
    static const Value &store(const Value &value) { return value; }
};

/// The type that a value is stored as.
template <class Value>
struct StoredType {
    /// One of the eight types of the register.
    using Type = typename Storage<Value>::Stored;
    static_assert(isRegisterType<Type>,
                  "Storage<Value>::Stored must be std::string, double, int, bool or a std::vector "
                  "of one of them.");
};

/// A value and the scope that holds it.
template <class Value>
struct Found {
    Value value;         ///< as it was loaded
    RegisterScope scope; ///< where it lies
};

/// Accepts every value.
struct AnyValue {
    /// Returns true.
    template <class Value>
    constexpr bool operator()(const Value &) const {
        return true;
    }
};

/// Loads what a search has found in a scope; no value if it is not accepted.
template <class Value, class Accept>
std::optional<Found<Value>> loadFrom(RegisterScope scope, typename StoredType<Value>::Type &&stored,
                                     const Accept &accept) {
    std::optional<Value> value = Storage<Value>::load(std::move(stored));
    if (value && accept(*value))
        return Found<Value>{std::move(*value), scope};
    return std::nullopt;
}

/// Searches each scope by itself, all of them in one step for other threads.
template <class Value, class Accept>
std::optional<Found<Value>> findInEach(const _Register &reg, const std::string &name,
                                       const Accept &accept) {
    const RegisterLock lock;
    typename StoredType<Value>::Type stored{};
    for (const RegisterScope scope : lookupOrder)
        if (reg.findValue(name, stored, scope))
            if (auto found = loadFrom<Value>(scope, std::move(stored), accept))
                return found;
    return std::nullopt;
}

/// Returns the value of the first scope, in lookup order, that holds one that `Storage<Value>` and
/// `accept` accept; with `only`, looks in that scope alone. All other values count as missing.
///
/// Where the first value found is not accepted, `Storage<Value>::load` and `accept` run again under
/// the register's lock, so that the search is one step for other threads. They must not wait for
/// another thread that uses the register.
template <class Value, class Accept = AnyValue>
std::optional<Found<Value>> findStored(const _Register &reg, const std::string &name,
                                       std::optional<RegisterScope> only = {},
                                       const Accept &accept = {}) {
    typename StoredType<Value>::Type stored{};
    const std::optional<RegisterScope> scope = reg.findValue(name, stored, only);
    if (!scope)
        return std::nullopt;
    auto found = loadFrom<Value>(*scope, std::move(stored), accept);
    if (found || only)
        return found;
    return findInEach<Value>(reg, name, accept);
}

/// Returns what `Storage<Value>` stores. Throws `utils::Exception`, with the property's name and
/// the reason, for a value that cannot be stored.
template <class Value>
decltype(auto) storedForm(const std::string &name, const Value &value) {
    try {
        return Storage<Value>::store(value);
    } catch (const Exception &error) {
        throw Exception("The value for " + name + " cannot be stored: " + error.what());
    }
}

/// Writes a value into a scope, in its stored form, and notifies the callbacks as the writes of
/// `_Register` do. Throws what these throw and what `storedForm` throws.
template <class Value>
void writeStored(_Register &reg, void *sender, const std::string &name, const Value &value,
                 RegisterScope scope) {
    constexpr auto write = writeOf<typename StoredType<Value>::Type>;
    (reg.*write)(sender, name, storedForm(name, value), scope);
}

/// A list of any type that is stored as a string, a number, an integer or a boolean. A list with an
/// element that `Storage<Value>` does not accept counts as missing.
template <class Value>
struct Storage<std::vector<Value>,
               std::enable_if_t<!isRegisterType<std::vector<Value>> &&
                                isRegisterType<std::vector<typename Storage<Value>::Stored>>>> {
    using Element = typename Storage<Value>::Stored;
    using Stored = std::vector<Element>;
    static std::optional<std::vector<Value>> load(Stored &&stored) {
        std::vector<Value> values;
        values.reserve(stored.size());
        for (auto &&element : stored) {
            std::optional<Value> value = Storage<Value>::load(Element(std::move(element)));
            if (!value)
                return std::nullopt;
            values.push_back(std::move(*value));
        }
        return values;
    }
    static Stored store(const std::vector<Value> &values) {
        Stored stored;
        stored.reserve(values.size());
        for (const Value &value : values)
            stored.push_back(Storage<Value>::store(value));
        return stored;
    }
};

/// Text of Qt, as UTF-8. Text that is not valid UTF-16 cannot be stored. A load replaces bytes that
/// are not UTF-8 by U+FFFD.
template <>
struct REGISTER_EXPORT Storage<QString> {
    using Stored = std::string;
    static QString load(const Stored &stored);
    static Stored store(const QString &text);
};
template <>
struct REGISTER_EXPORT Storage<QStringList> {
    using Stored = std::vector<std::string>;
    static QStringList load(const Stored &stored);
    static Stored store(const QStringList &texts);
};

} // namespace utils::properties
