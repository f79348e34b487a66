#include "Import.h"
#include "ImportSettings.h"

#include <exception/Exception.h>

#include <glib.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

namespace registerctl {

using utils::Exception;

namespace {

struct Format {
    const char *name;
    void (*import)(const std::string &text, Settings &settings);
};
constexpr char nowhere[] = "/dev/null/names"; // no file can be there

constexpr Format formats[] = {{"qsettings", importQSettings},
                              {"keyfile", importKeyFile},
                              {"dconf", importDconf},
                              {"gsettings", importGSettings},
                              {"json", importJson}};

/// A number that is the whole text, as the C locale has it.
template <class Number>
std::optional<Number> parsed(std::string_view text) {
    const char *const end = text.data() + text.size();
    Number number{};
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

/// True for "1.5", "-2" and "3.0"; not for "1.50", "01" and more digits than a number has.
bool isUsualDecimal(std::string_view text) {
    const std::optional<double> number = parsed<double>(text);
    if (!number || !std::isfinite(*number))
        return false;
    char buffer[std::numeric_limits<double>::max_exponent10 + 32];
    const char *const end =
        std::to_chars(buffer, std::end(buffer), *number, std::chars_format::fixed).ptr;
    const std::string usual(buffer, static_cast<std::size_t>(end - buffer));
    return text == usual || (usual.find('.') == usual.npos && text == usual + ".0");
}

PropertyValue guess(const std::string &text) {
    if (text == "true" || text == "false")
        return text == "true";
    const auto integer = parsed<int>(text);
    if (integer && std::to_string(*integer) == text)
        return *integer;
    const auto number = parsed<double>(text);
    if (number && std::isfinite(*number) && text.find_first_of(".eE") != text.npos &&
        isUsualDecimal(std::string_view(text).substr(0, text.find_first_of("eE"))))
        return *number;
    return text;
}

template <class Element>
std::optional<PropertyValue> listOfType(const std::vector<PropertyValue> &values) {
    std::vector<Element> list;
    for (const PropertyValue &value : values) {
        const auto *element = std::get_if<Element>(&value);
        if (!element)
            return std::nullopt;
        list.push_back(*element);
    }
    return list;
}

std::vector<PropertyValue> withNumbers(std::vector<PropertyValue> values) {
    for (PropertyValue &value : values)
        if (const int *integer = std::get_if<int>(&value))
            value = double(*integer);
    return values;
}

} // namespace

std::optional<PropertyValue> listOf(const std::vector<PropertyValue> &values) {
    if (values.empty())
        return std::nullopt;
    for (const auto attempt : {listOfType<std::string>, listOfType<bool>, listOfType<int>})
        if (auto list = attempt(values))
            return list;
    return listOfType<double>(withNumbers(values));
}

int toInteger(std::int64_t value) {
    if (value != static_cast<int>(value))
        throw Exception(std::to_string(value) + " does not fit in an integer of 32 bits");
    return static_cast<int>(value);
}

int toInteger(std::uint64_t value) {
    if (value > std::numeric_limits<int>::max())
        throw Exception(std::to_string(value) + " does not fit in an integer of 32 bits");
    return static_cast<int>(value);
}

std::size_t lineOf(const std::string &text, std::size_t offset) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text.size()));
    return static_cast<std::size_t>(std::count(text.begin(), end, '\n')) + 1;
}

void failAt(std::size_t line, const std::string &why) {
    throw Exception("line " + std::to_string(line) + ": " + why);
}

Settings::Settings(bool guessTypes) : _guessTypes(guessTypes), _names(nowhere), _trial(nowhere) {}

void Settings::add(const std::string &name, PropertyValue value) {
    if (const std::string why = objection(name); !why.empty())
        return refuse(name, why);
    _names.addProperty(name);
    if (!_names.propertyExists(name))
        return refuse(name, "a level of the name is a setting itself");
    imported.properties.emplace(name, std::move(value));
}

void Settings::refuse(const std::string &name, const std::string &why) {
    imported.refused.push_back(name + ": " + why);
}

std::string Settings::objection(const std::string &name) {
    if (name.empty() || name.front() == '/' || name.back() == '/' || name.find("//") != name.npos)
        return "the name has an empty level";
    _trial.addProperty(name);
    const bool isAllowed = _trial.propertyExists(name);
    _trial.delProperty(name.substr(0, name.find('/')));
    if (!isAllowed)
        return "the register does not allow this name";
    if (_names.groupExists(name))
        return "there is a group of this name";
    return _names.propertyExists(name) ? "there is another setting of this name" : "";
}

PropertyValue Settings::fromText(const std::string &text) const {
    return _guessTypes ? guess(text) : text;
}

PropertyValue Settings::fromTexts(const std::vector<std::string> &texts) const {
    std::vector<PropertyValue> values;
    for (const std::string &text : texts)
        values.push_back(fromText(text));
    return listOf(values).value_or(texts);
}

const std::vector<std::string> &importFormats() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const Format &format : formats)
            all.push_back(format.name);
        return all;
    }();
    return names;
}

Imported importFrom(const std::string &format, const std::string &text, bool guessTypes) {
    const auto *found = std::find_if(std::begin(formats), std::end(formats),
                                     [&](const Format &known) { return format == known.name; });
    if (found == std::end(formats))
        throw Exception(format + ": no such format");
    const char *end = nullptr;
    if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), &end))
        failAt(lineOf(text, static_cast<std::size_t>(end - text.data())),
               "a byte that does not belong to text in UTF-8");
    // GLib would print what it throws here as an exception too.
    g_log_set_default_handler([](auto...) {}, nullptr);
    Settings settings(guessTypes);
    found->import(text, settings);
    return std::move(settings.imported);
}

} // namespace registerctl
