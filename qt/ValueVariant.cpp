#include "qt/ValueVariant.h"

#include "register/Limits.h"

#include <QCoreApplication>
#include <QStringList>
#include <QVariantList>

#include <iterator>
#include <type_traits>
#include <vector>

namespace utils::properties {

namespace {

QVariant variantOf(const std::string &text) {
    const QString decoded = QString::fromStdString(text);
    if (decoded.toStdString() == text)
        return decoded;
    return QByteArray::fromStdString(text);
}

template <class Value>
QVariant variantOf(const Value &value) {
    return QVariant(value);
}

template <class Element>
QVariant variantOf(const std::vector<Element> &values) {
    QVariantList list;
    for (const Element &value : values)
        list.append(variantOf(value));
    return list;
}

QVariant variantOf(NoValue) {
    return {};
}

QVariant variantOf(std::monostate) {
    return {};
}

bool convert(const QVariant &variant, std::string &value) {
    if (variant.userType() == QMetaType::QByteArray)
        value = variant.toByteArray().toStdString();
    else
        value = variant.toString().toStdString();
    return variant.canConvert<QString>();
}

bool convert(const QVariant &variant, double &value) {
    bool isNumber = false;
    value = variant.toDouble(&isNumber);
    return isNumber;
}

bool convert(const QVariant &variant, int &value) {
    bool isNumber = false;
    const double number = variant.toDouble(&isNumber); // would be rounded by toInt
    value = variant.toInt();
    return isNumber && number == value;
}

bool convert(const QVariant &variant, bool &value) {
    const QString text = variant.toString();
    value = text == QLatin1String("true");
    return value || text == QLatin1String("false");
}

template <class Element>
bool convert(const QVariant &variant, std::vector<Element> &values) {
    if (!variant.canConvert<QVariantList>() || variant.userType() == QMetaType::QString)
        return false;
    for (const QVariant &each : variant.toList()) {
        Element element{};
        if (!convert(each, element))
            return false;
        values.push_back(element);
    }
    return true;
}

bool convert(const QVariant &variant, NoValue) {
    return !variant.isValid();
}

bool convert(const QVariant &variant, std::monostate) {
    return !variant.isValid();
}

QString textOf(const std::string &text) {
    return QString::fromStdString(text);
}

QString textOf(NoValue) {
    return {};
}

QString textOf(std::monostate) {
    return {};
}

template <class Value>
QString textOf(const Value &value) {
    return QString::fromStdString(printed(value));
}

} // namespace

QVariant toVariant(const PropertyValue &value) {
    return std::visit([](const auto &held) { return variantOf(held); }, value);
}

std::optional<PropertyValue> fromVariant(const QVariant &variant, const PropertyValue &like) {
    return std::visit(
        [&](const auto &held) -> std::optional<PropertyValue> {
            std::decay_t<decltype(held)> converted{};
            if (!convert(variant, converted))
                return std::nullopt;
            return converted;
        },
        like);
}

QString displayText(const PropertyValue &value) {
    return std::visit([](const auto &held) { return textOf(held); }, value);
}

QString typeText(const PropertyValue &value) {
    static const char *const names[] = {"",
                                        QT_TRANSLATE_NOOP("register", "no value"),
                                        QT_TRANSLATE_NOOP("register", "string"),
                                        QT_TRANSLATE_NOOP("register", "number"),
                                        QT_TRANSLATE_NOOP("register", "integer"),
                                        QT_TRANSLATE_NOOP("register", "boolean"),
                                        QT_TRANSLATE_NOOP("register", "list of strings"),
                                        QT_TRANSLATE_NOOP("register", "list of numbers"),
                                        QT_TRANSLATE_NOOP("register", "list of integers"),
                                        QT_TRANSLATE_NOOP("register", "list of booleans")};
    static_assert(std::size(names) == std::variant_size_v<PropertyValue>);
    return QCoreApplication::translate("register", names[value.index()]);
}

} // namespace utils::properties
