#pragma once

#include "register/Storage.h"

#include <QByteArray>
#include <QDateTime>
#include <QMetaEnum>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QUrl>
#include <QUuid>

#include <charconv>
#include <chrono>
#include <cmath>
#include <iterator>
#include <limits>
#include <ratio>
#include <system_error>

/// How types of Qt Core and of the standard library are stored:
///
/// | type                        | stored as                                                     |
/// |-----------------------------|---------------------------------------------------------------|
/// | QByteArray                  | a string of the same bytes                                    |
/// | float                       | a number                                                      |
/// | integers that do not fit in | a string of decimal digits, since a number holds only 53      |
/// | int, such as qint64         | bits of them                                                  |
/// | enumerations and flags      | a string of the key names, "Left" or "Left\|Top"               |
/// | QPoint, QSize, QRect        | a list of integers: x, y; width, height; x, y, width, height  |
/// | QPointF, QSizeF, QRectF     | a list of numbers, in the same order                          |
/// | QDate, QTime, QDateTime     | a string in the form of ISO 8601                              |
/// | QUrl                        | a string, with all characters encoded that a URL excludes     |
/// | QUuid                       | a string of 36 characters, without braces                     |
/// | std::chrono::duration       | a string of an integer and its unit, "1500ms"                 |
///
/// A stored value of another form counts as missing. So does one with more behind it, and one that
/// the type cannot hold.
namespace utils::properties {

template <>
struct REGISTER_EXPORT Storage<QByteArray> {
    using Stored = std::string;
    static QByteArray load(const Stored &stored);
    static Stored store(const QByteArray &bytes);
};

/// A stored number is rounded to the next `float`.
template <>
struct Storage<float> {
    using Stored = double;
    static std::optional<float> load(double stored) {
        const auto value = static_cast<float>(stored);
        return std::isinf(value) && !std::isinf(stored) ? std::nullopt : std::optional(value);
    }
    static double store(float value) { return value; }
};

/// The integers that an `int` does not hold.
template <class Value>
inline constexpr bool isWideInteger =
    std::is_same_v<Value, unsigned> || std::is_same_v<Value, long> ||
    std::is_same_v<Value, unsigned long> || std::is_same_v<Value, long long> ||
    std::is_same_v<Value, unsigned long long>;

template <class Integer>
struct Storage<Integer, std::enable_if_t<isWideInteger<Integer>>> {
    using Stored = std::string;
    static std::optional<Integer> load(const Stored &stored) {
        const char *const end = stored.data() + stored.size();
        Integer value{};
        const auto [rest, error] = std::from_chars(stored.data(), end, value);
        return error == std::errc() && rest == end ? std::optional(value) : std::nullopt;
    }
    static Stored store(Integer value) { return std::to_string(value); }
};

/// Returns the value of one key, or for flags of any number of keys with "|" between them.
REGISTER_EXPORT std::optional<int> valueOfKeys(const QMetaEnum &keys, const std::string &text);
/// Throws `utils::Exception` for a value that the keys cannot express.
REGISTER_EXPORT std::string keysOfValue(const QMetaEnum &keys, int value);

/// Enumerations and flags that Q_ENUM, Q_ENUM_NS, Q_FLAG or Q_FLAG_NS declares. No flag at all is
/// the empty string, unless a key has the value 0.
template <class Value>
struct Storage<Value, std::enable_if_t<QtPrivate::IsQEnumHelper<Value>::Value>> {
    static_assert(sizeof(Value) <= sizeof(int), "The keys of Qt are for values of 32 bits.");

    using Stored = std::string;
    static std::optional<Value> load(const Stored &stored) {
        const std::optional<int> value = valueOfKeys(QMetaEnum::fromType<Value>(), stored);
        if (!value)
            return std::nullopt;
        if constexpr (std::is_enum_v<Value>)
            return static_cast<Value>(*value);
        else
            return Value(QFlag(*value));
    }
    static Stored store(Value value) {
        return keysOfValue(QMetaEnum::fromType<Value>(), static_cast<int>(value));
    }
};

template <>
struct REGISTER_EXPORT Storage<QPoint> {
    using Stored = std::vector<int>;
    static std::optional<QPoint> load(const Stored &stored);
    static Stored store(const QPoint &point);
};
template <>
struct REGISTER_EXPORT Storage<QSize> {
    using Stored = std::vector<int>;
    static std::optional<QSize> load(const Stored &stored);
    static Stored store(const QSize &size);
};
/// A rectangle whose width or height does not fit in `int` cannot be stored.
template <>
struct REGISTER_EXPORT Storage<QRect> {
    using Stored = std::vector<int>;
    static std::optional<QRect> load(const Stored &stored);
    static Stored store(const QRect &rect);
};
template <>
struct REGISTER_EXPORT Storage<QPointF> {
    using Stored = std::vector<double>;
    static std::optional<QPointF> load(const Stored &stored);
    static Stored store(const QPointF &point);
};
template <>
struct REGISTER_EXPORT Storage<QSizeF> {
    using Stored = std::vector<double>;
    static std::optional<QSizeF> load(const Stored &stored);
    static Stored store(const QSizeF &size);
};
template <>
struct REGISTER_EXPORT Storage<QRectF> {
    using Stored = std::vector<double>;
    static std::optional<QRectF> load(const Stored &stored);
    static Stored store(const QRectF &rect);
};

/// "2026-11-23". An invalid date cannot be stored, nor one outside the years 1 to 9999.
template <>
struct REGISTER_EXPORT Storage<QDate> {
    using Stored = std::string;
    static std::optional<QDate> load(const Stored &stored);
    static Stored store(const QDate &date);
};
/// "10:34:06.250"; a load also accepts a time without milliseconds. An invalid time cannot be
/// stored.
template <>
struct REGISTER_EXPORT Storage<QTime> {
    using Stored = std::string;
    static std::optional<QTime> load(const Stored &stored);
    static Stored store(const QTime &time);
};
/// "2026-11-23T10:34:06.250+01:00", or "Z" as the offset of UTC; a load also accepts a time without
/// milliseconds. The instant and its offset from UTC are kept, the offset in whole minutes. The
/// name of a time zone is not kept, nor that a time was a local time: the loaded time has an
/// offset or is in UTC. An invalid time cannot be stored, nor one outside the years 1 to 9999.
template <>
struct REGISTER_EXPORT Storage<QDateTime> {
    using Stored = std::string;
    static std::optional<QDateTime> load(const Stored &stored);
    static Stored store(const QDateTime &time);
};

/// The empty string is the empty URL. An invalid URL cannot be stored.
template <>
struct REGISTER_EXPORT Storage<QUrl> {
    using Stored = std::string;
    static std::optional<QUrl> load(const Stored &stored);
    static Stored store(const QUrl &url);
};
template <>
struct REGISTER_EXPORT Storage<QUuid> {
    using Stored = std::string;
    static std::optional<QUuid> load(const Stored &stored);
    static Stored store(const QUuid &uuid);
};

/// A unit of durations.
struct DurationUnit {
    const char *name;   ///< as it is stored, such as "ms"
    qint64 nanoseconds; ///< its length
};
/// The units, from the shortest. Each is a multiple of those before it.
inline constexpr DurationUnit durationUnits[] = {
    {"ns", 1},
    {"us", 1'000},
    {"ms", 1'000'000},
    {"s", 1'000'000'000},
    {"min", 60'000'000'000},
    {"h", 3'600'000'000'000},
    {"d", 86'400'000'000'000},
};

/// The place among `durationUnits` of the unit whose length in seconds is the ratio `Period`; the
/// number of units if there is none.
template <class Period>
constexpr std::size_t placeOfUnit() {
    using Nanoseconds = std::ratio_multiply<Period, std::giga>;
    std::size_t place = 0;
    while (place < std::size(durationUnits) &&
           (Nanoseconds::den != 1 || Nanoseconds::num != durationUnits[place].nanoseconds))
        ++place;
    return place;
}

/// Returns the number of units that a text such as "2min" stands for; no number if it is not whole.
REGISTER_EXPORT std::optional<qint64> durationFromText(const std::string &text,
                                                       const DurationUnit &unit);

/// Durations that count one of `durationUnits` in a signed integer. They are stored in that unit. A
/// load also accepts the other units if the duration is a whole number of its own. Therefore an
/// application can change the unit of a property later.
template <class Count, class Period>
struct Storage<std::chrono::duration<Count, Period>,
               std::enable_if_t<std::is_integral_v<Count> && std::is_signed_v<Count> &&
                                placeOfUnit<Period>() < std::size(durationUnits)>> {
    static constexpr const DurationUnit &unit = durationUnits[placeOfUnit<Period>()];
    using Duration = std::chrono::duration<Count, Period>;
    using Stored = std::string;
    static std::optional<Duration> load(const Stored &stored) {
        const std::optional<qint64> count = durationFromText(stored, unit);
        if (!count || *count < std::numeric_limits<Count>::min() ||
            *count > std::numeric_limits<Count>::max())
            return std::nullopt;
        return Duration(static_cast<Count>(*count));
    }
    static Stored store(Duration duration) { return std::to_string(duration.count()) + unit.name; }
};

} // namespace utils::properties
