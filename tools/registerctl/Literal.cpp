#include "Literal.h"

#include "Failure.h"

#include <QByteArray>
#include <QString>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace registerctl {

using nlohmann::json;
using utils::properties::NoValue;

namespace {

[[noreturn]] void fail(const std::string &what) {
    throw Failure(WrongValue, what);
}

[[noreturn]] void cannotHold(const std::string &name) {
    fail(nameToText(name) + " cannot be the name of a property here");
}

std::string inQuotes(std::string_view text) {
    return '"' + std::string(text) + '"';
}

std::string base64(const std::string &bytes) {
    return QByteArray::fromRawData(bytes.data(), static_cast<int>(bytes.size()))
        .toBase64()
        .toStdString();
}

/// Controls of a terminal, and marks that change the order of text.
bool isControl(QChar character) {
    const ushort code = character.unicode();
    return character.category() == QChar::Other_Control || code == 0x200E || code == 0x200F ||
           (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

std::uint64_t bitsOf(double number) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return bits;
}

double numberOf(std::uint64_t bits) {
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    return number;
}

std::string nanText(double number) {
    if (bitsOf(number) == bitsOf(std::numeric_limits<double>::quiet_NaN()))
        return "nan";
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx",
                  static_cast<unsigned long long>(bitsOf(number)));
    return std::string("nan:0x") + digits;
}

// One overload for each type of an element, so that a list is written like its elements.
std::string text(bool value) {
    return value ? "true" : "false";
}

std::string text(int value) {
    return std::to_string(value);
}

/// The shortest form that reads back to the same bits, with a "." or an exponent.
std::string text(double value) {
    if (std::isnan(value))
        return nanText(value);
    char digits[32];
    std::string form(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    if (form.find_first_of(".en") == form.npos) // "e": an exponent, "n": inf
        form += ".0";
    return form;
}

std::string text(const std::string &value) {
    try {
        return escapeControls(json(value).dump());
    } catch (const json::type_error &) { // not UTF-8
        return "b64" + inQuotes(base64(value));
    }
}

const char *listName(const std::vector<std::string> &) {
    return "strings";
}
const char *listName(const std::vector<double> &) {
    return "numbers";
}
const char *listName(const std::vector<int> &) {
    return "ints";
}
const char *listName(const std::vector<bool> &) {
    return "bools";
}

template <class Element>
std::string text(const std::vector<Element> &values) {
    if (values.empty())
        return std::string(listName(values)) + " []";
    std::string list;
    for (const Element &value : values)
        list += (list.empty() ? "[" : ", ") + text(value);
    return list + "]";
}

std::string text(NoValue) {
    return "none";
}

std::string text(std::monostate) {
    return {};
}

/// Reads a number of type `Value` that takes up all of the text.
template <class Value>
bool parseAll(std::string_view text, Value &value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

int toInteger(std::string_view text) {
    int value = 0;
    if (!parseAll(text, value))
        fail(inQuotes(text) + " is not an integer from -2147483648 to 2147483647");
    return value;
}

double toNumber(std::string_view text) {
    constexpr std::string_view odd = "nan:0x";
    if (text.substr(0, odd.size()) == odd) {
        const std::string_view digits = text.substr(odd.size());
        std::uint64_t bits = 0;
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), bits, 16);
        if (error == std::errc() && end == digits.data() + digits.size() &&
            std::isnan(numberOf(bits)))
            return numberOf(bits);
    }
    double value = 0;
    if (text == "nan")
        return std::numeric_limits<double>::quiet_NaN();
    if (text != "inf" && text != "-inf" && text.find_first_not_of("0123456789+-.eE") != text.npos)
        fail(inQuotes(text) + " is not a number");
    if (!parseAll(text, value))
        fail(inQuotes(text) + " is not a number of 64 bits");
    return value;
}

bool toBoolean(std::string_view text) {
    if (text != "true" && text != "false")
        fail(inQuotes(text) + " is neither true nor false");
    return text == "true";
}

void skipSpaces(std::string_view &rest) {
    while (!rest.empty() && (rest.front() == ' ' || rest.front() == '\t'))
        rest.remove_prefix(1);
}

bool takeText(std::string_view &rest, std::string_view text) {
    if (rest.substr(0, text.size()) != text)
        return false;
    rest.remove_prefix(text.size());
    return true;
}

std::string_view takeWord(std::string_view &rest) {
    const std::string_view word = rest.substr(0, rest.find_first_of(", ]\t"));
    rest.remove_prefix(word.size());
    return word;
}

std::string takeJsonString(std::string_view &rest) {
    std::size_t end = 1;
    while (end < rest.size() && rest[end] != '"')
        end += rest[end] == '\\' ? 2 : 1;
    const std::string_view token = rest.substr(0, end + 1);
    const json value = json::parse(token, nullptr, false);
    if (!value.is_string())
        fail(std::string(token) + " is not a JSON string");
    rest.remove_prefix(token.size());
    return value.get<std::string>();
}

std::string takeBase64(std::string_view &rest) {
    const std::string digits = takeJsonString(rest);
    const auto decoded = QByteArray::fromBase64Encoding(QByteArray::fromStdString(digits),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || base64((*decoded).toStdString()) != digits)
        fail(inQuotes(digits) + " is not base64");
    return (*decoded).toStdString();
}

PropertyValue takeScalar(std::string_view &rest) {
    if (!rest.empty() && rest.front() == '"')
        return takeJsonString(rest);
    if (takeText(rest, "b64"))
        return takeBase64(rest);
    const std::string_view word = takeWord(rest);
    if (word == "true" || word == "false")
        return toBoolean(word);
    if (word == "none")
        return NoValue();
    if (word.empty())
        fail("a value is missing");
    if (word.find_first_not_of("0123456789-") == word.npos)
        return toInteger(word);
    return toNumber(word);
}

/// Adds elements of the type of the first one until the list ends.
template <class Element>
PropertyValue takeElements(Element first, std::string_view &rest) {
    std::vector<Element> list = {std::move(first)};
    for (skipSpaces(rest); !takeText(rest, "]"); skipSpaces(rest)) {
        if (!takeText(rest, ","))
            fail("a list lacks its \"]\" or a comma");
        skipSpaces(rest);
        const PropertyValue next = takeScalar(rest);
        const auto *element = std::get_if<Element>(&next);
        if (!element)
            fail("the elements of a list must have one type");
        list.push_back(*element);
    }
    return list;
}

PropertyValue takeList(std::string_view &rest) {
    skipSpaces(rest);
    if (takeText(rest, "]"))
        fail("an empty list needs its type: strings [], numbers [], ints [] or bools []");
    return std::visit(
        [&](auto first) -> PropertyValue {
            using First = decltype(first);
            if constexpr (std::is_same_v<First, std::string> || std::is_same_v<First, double> ||
                          std::is_same_v<First, int> || std::is_same_v<First, bool>)
                return takeElements<First>(std::move(first), rest);
            fail("\"none\" cannot be in a list");
        },
        takeScalar(rest));
}

PropertyValue takeValue(std::string_view &rest) {
    if (takeText(rest, "strings []"))
        return std::vector<std::string>();
    if (takeText(rest, "numbers []"))
        return std::vector<double>();
    if (takeText(rest, "ints []"))
        return std::vector<int>();
    if (takeText(rest, "bools []"))
        return std::vector<bool>();
    return takeText(rest, "[") ? takeList(rest) : takeScalar(rest);
}

void checkEnd(std::string_view rest) {
    skipSpaces(rest);
    if (!rest.empty())
        fail(inQuotes(rest) + " follows the value");
}

json toJsonValue(double number) {
    return std::isfinite(number) ? json(number) : json{{"literal", text(number)}};
}

json toJsonValue(const std::string &value) {
    const std::string literal = text(value);
    return literal[0] == '"' ? json(value) : json{{"literal", literal}};
}

template <class Value>
json toJsonValue(const Value &value) {
    return value;
}

json toJsonValue(NoValue) {
    return nullptr;
}

json toJsonValue(std::monostate) {
    return nullptr;
}

template <class Element>
json toJsonValue(const std::vector<Element> &values) {
    json list = json::array();
    for (const Element &value : values)
        list.push_back(toJsonValue(value));
    return list;
}

std::string bare(const std::string &value) {
    return value;
}

template <class Value>
std::string bare(const Value &value) {
    return text(value);
}

template <class Element>
std::vector<Element> elementsOf(const std::vector<std::string> &texts,
                                Element (*convert)(std::string_view)) {
    std::vector<Element> elements;
    for (const std::string &each : texts)
        elements.push_back(convert(each));
    return elements;
}

} // namespace

std::string toLiteral(const PropertyValue &value) {
    return std::visit([](const auto &held) { return text(held); }, value);
}

std::string rawLiteral(const std::string &bytes) {
    return "raw" + inQuotes(base64(bytes));
}

void writeValue(RegisterFile &file, const std::string &name, const PropertyValue &value) {
    try {
        file.writeAny(name, value);
    } catch (const utils::Exception &) {
        cannotHold(name);
    }
}

void writeLiteral(RegisterFile &file, const std::string &name, std::string_view literal) {
    if (!takeText(literal, "raw")) {
        const PropertyValue value = takeValue(literal);
        checkEnd(literal);
        return writeValue(file, name, value);
    }
    const std::string bytes = takeBase64(literal);
    checkEnd(literal);
    try {
        file.writeBytes(name, bytes);
    } catch (const utils::Exception &) {
        cannotHold(name);
    }
}

std::string nameToText(const std::string &name) {
    constexpr std::string_view plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._/-";
    const bool isPlain = !name.empty() && name.find_first_not_of(plain) == name.npos;
    return isPlain
               ? name
               : escapeControls(json(name).dump(-1, ' ', false, json::error_handler_t::replace));
}

std::string escapeControls(const std::string &text) {
    const auto isPlain = [](char each) { return each >= 0x20 && each < 0x7F; };
    if (std::all_of(text.begin(), text.end(), isPlain))
        return text;
    QString escaped;
    for (const QChar each : QString::fromStdString(text))
        escaped += isControl(each) ? QString::asprintf("\\u%04x", each.unicode()) : QString(each);
    return escaped.toStdString();
}

std::string takeName(std::string_view &line) {
    if (!line.empty() && line.front() == '"')
        return takeJsonString(line);
    const std::string_view name = line.substr(0, line.find_first_of(" \t="));
    line.remove_prefix(name.size());
    if (nameToText(std::string(name)) != name)
        fail("the name " + nameToText(std::string(name)) + " must be quoted");
    return std::string(name);
}

std::string normalName(std::string_view name) {
    std::string normal;
    for (std::size_t end = 0; !name.empty(); name.remove_prefix(std::min(end + 1, name.size()))) {
        end = std::min(name.find('/'), name.size());
        if (end > 0)
            normal.append(normal.empty() ? "" : "/").append(name.substr(0, end));
    }
    return normal;
}

const std::vector<std::string> &typeNames() {
    static const std::vector<std::string> names = {"string",  "number",  "int",  "bool",
                                                   "strings", "numbers", "ints", "bools"};
    return names;
}

std::string typeName(const PropertyValue &value) {
    return value.index() < 2 ? "none" : typeNames()[value.index() - 2];
}

PropertyValue typedValue(const std::string &type, const std::vector<std::string> &texts) {
    if (type == "strings")
        return texts;
    if (type == "numbers")
        return elementsOf<double>(texts, toNumber);
    if (type == "ints")
        return elementsOf<int>(texts, toInteger);
    if (type == "bools")
        return elementsOf<bool>(texts, toBoolean);
    if (texts.size() != 1)
        throw Failure(WrongUsage, "the type " + type + " takes one value");
    if (type == "number")
        return toNumber(texts[0]);
    if (type == "int")
        return toInteger(texts[0]);
    if (type == "bool")
        return toBoolean(texts[0]);
    return texts[0];
}

std::vector<std::string> bareTexts(const PropertyValue &value) {
    return std::visit(
        [](const auto &held) -> std::vector<std::string> {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, NoValue> || std::is_same_v<Held, std::monostate>) {
                return {""};
            } else if constexpr (std::is_same_v<Held, std::string> || !std::is_class_v<Held>) {
                return {bare(held)};
            } else {
                std::vector<std::string> texts;
                for (const typename Held::value_type &element : held)
                    texts.push_back(bare(element));
                return texts;
            }
        },
        value);
}

std::string toJson(const PropertyValue &value) {
    return escapeControls(
        std::visit([](const auto &held) { return toJsonValue(held).dump(); }, value));
}

} // namespace registerctl
