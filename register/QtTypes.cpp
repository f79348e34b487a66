#include "register/QtTypes.h"

#include <cstring>
#include <string_view>

namespace utils::properties {

namespace {

/// Returns the length from the first to the last of a row of integers, both included.
int lengthOf(int first, int last) {
    const qint64 length = qint64(last) - first + 1;
    if (length != static_cast<int>(length))
        throw Exception("its width or height does not fit in 32 bits.");
    return static_cast<int>(length);
}

bool hasLast(int first, int length) {
    const qint64 last = qint64(first) + length - 1;
    return last == static_cast<int>(last);
}

template <class Value>
std::string isoText(const Value &value, Qt::DateFormat format) {
    return value.toString(format).toStdString();
}

std::string isoText(const QDateTime &time, Qt::DateFormat format) {
    const int offset = time.offsetFromUtc();
    return time.toOffsetFromUtc(offset - offset % 60).toString(format).toStdString();
}

/// The text must be one of the two that Qt writes for the value. Qt itself accepts more, such as
/// any characters behind a date.
template <class Value>
std::optional<Value> fromIso(const std::string &text) {
    const Value value = Value::fromString(QString::fromStdString(text), Qt::ISODate);
    if (value.isValid() &&
        (text == isoText(value, Qt::ISODateWithMs) || text == isoText(value, Qt::ISODate)))
        return value;
    return std::nullopt;
}

template <class Value>
std::string toIso(const Value &value) {
    const std::string text = isoText(value, Qt::ISODateWithMs);
    if (text.empty())
        throw Exception("it is invalid or outside the years 1 to 9999.");
    return text;
}

/// Converts a number of one unit to another; no number if it is not whole or is too large.
std::optional<qint64> converted(qint64 count, qint64 from, qint64 to) {
    if (from < to)
        return count % (to / from) == 0 ? std::optional(count / (to / from)) : std::nullopt;
    qint64 product = 0;
    if (__builtin_mul_overflow(count, from / to, &product))
        return std::nullopt;
    return product;
}

} // namespace

QByteArray Storage<QByteArray>::load(const Stored &stored) {
    return QByteArray::fromStdString(stored);
}

std::string Storage<QByteArray>::store(const QByteArray &bytes) {
    return bytes.toStdString();
}

std::optional<int> valueOfKeys(const QMetaEnum &keys, const std::string &text) {
    if (text.size() != std::strlen(text.c_str()))
        return std::nullopt;
    if (keys.isFlag() && text.empty())
        return 0;
    bool known = false;
    const int value = keys.isFlag() ? keys.keysToValue(text.c_str(), &known)
                                    : keys.keyToValue(text.c_str(), &known);
    return known ? std::optional(value) : std::nullopt;
}

std::string keysOfValue(const QMetaEnum &keys, int value) {
    const std::string text =
        (keys.isFlag() ? keys.valueToKeys(value) : QByteArray(keys.valueToKey(value)))
            .toStdString();
    if (valueOfKeys(keys, text) != value)
        throw Exception(std::string(keys.name()) + " has no key for " + std::to_string(value) +
                        ".");
    return text;
}

std::optional<QPoint> Storage<QPoint>::load(const Stored &stored) {
    return stored.size() == 2 ? std::optional(QPoint(stored[0], stored[1])) : std::nullopt;
}

std::vector<int> Storage<QPoint>::store(const QPoint &point) {
    return {point.x(), point.y()};
}

std::optional<QSize> Storage<QSize>::load(const Stored &stored) {
    return stored.size() == 2 ? std::optional(QSize(stored[0], stored[1])) : std::nullopt;
}

std::vector<int> Storage<QSize>::store(const QSize &size) {
    return {size.width(), size.height()};
}

std::optional<QRect> Storage<QRect>::load(const Stored &stored) {
    if (stored.size() != 4 || !hasLast(stored[0], stored[2]) || !hasLast(stored[1], stored[3]))
        return std::nullopt;
    return QRect(stored[0], stored[1], stored[2], stored[3]);
}

std::vector<int> Storage<QRect>::store(const QRect &rect) {
    return {rect.x(), rect.y(), lengthOf(rect.left(), rect.right()),
            lengthOf(rect.top(), rect.bottom())};
}

std::optional<QPointF> Storage<QPointF>::load(const Stored &stored) {
    return stored.size() == 2 ? std::optional(QPointF(stored[0], stored[1])) : std::nullopt;
}

std::vector<double> Storage<QPointF>::store(const QPointF &point) {
    return {point.x(), point.y()};
}

std::optional<QSizeF> Storage<QSizeF>::load(const Stored &stored) {
    return stored.size() == 2 ? std::optional(QSizeF(stored[0], stored[1])) : std::nullopt;
}

std::vector<double> Storage<QSizeF>::store(const QSizeF &size) {
    return {size.width(), size.height()};
}

std::optional<QRectF> Storage<QRectF>::load(const Stored &stored) {
    return stored.size() == 4 ? std::optional(QRectF(stored[0], stored[1], stored[2], stored[3]))
                              : std::nullopt;
}

std::vector<double> Storage<QRectF>::store(const QRectF &rect) {
    return {rect.x(), rect.y(), rect.width(), rect.height()};
}

std::optional<QDate> Storage<QDate>::load(const Stored &stored) {
    return fromIso<QDate>(stored);
}

std::string Storage<QDate>::store(const QDate &date) {
    return toIso(date);
}

std::optional<QTime> Storage<QTime>::load(const Stored &stored) {
    return fromIso<QTime>(stored);
}

std::string Storage<QTime>::store(const QTime &time) {
    return toIso(time);
}

std::optional<QDateTime> Storage<QDateTime>::load(const Stored &stored) {
    return fromIso<QDateTime>(stored);
}

std::string Storage<QDateTime>::store(const QDateTime &time) {
    return toIso(time);
}

std::optional<QUrl> Storage<QUrl>::load(const Stored &stored) {
    const QUrl url = QUrl::fromEncoded(QByteArray::fromStdString(stored), QUrl::StrictMode);
    return url.isValid() || stored.empty() ? std::optional(url) : std::nullopt;
}

std::string Storage<QUrl>::store(const QUrl &url) {
    if (!url.isValid() && !url.errorString().isEmpty())
        throw Exception("it is not valid.");
    return url.toEncoded().toStdString();
}

std::optional<QUuid> Storage<QUuid>::load(const Stored &stored) {
    const QString text = QString::fromStdString(stored);
    const QUuid uuid = QUuid::fromString(text);
    if (text.compare(uuid.toString(QUuid::WithoutBraces), Qt::CaseInsensitive) != 0)
        return std::nullopt;
    return uuid;
}

std::string Storage<QUuid>::store(const QUuid &uuid) {
    return uuid.toString(QUuid::WithoutBraces).toStdString();
}

std::optional<qint64> durationFromText(const std::string &text, const DurationUnit &unit) {
    const char *const end = text.data() + text.size();
    qint64 count = 0;
    const auto [name, error] = std::from_chars(text.data(), end, count);
    if (error == std::errc())
        for (const DurationUnit &given : durationUnits)
            if (std::string_view(name, static_cast<std::size_t>(end - name)) == given.name)
                return converted(count, given.nanoseconds, unit.nanoseconds);
    return std::nullopt;
}

} // namespace utils::properties
