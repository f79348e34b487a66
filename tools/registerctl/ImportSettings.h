#pragma once

#include "Import.h"

#include <register/RegisterFile.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

/// What the formats of `Import.h` have in common.
namespace registerctl {

/// Collects the settings of a text.
class Settings {
public:
    explicit Settings(bool guessTypes);

    /// Takes a setting. Refuses one that the register cannot hold under this name.
    void add(const std::string &name, PropertyValue value);
    void refuse(const std::string &name, const std::string &why);
    /// Takes the value that a function returns. Refuses the setting when it throws
    /// `utils::Exception`, for the reason that the exception gives.
    template <class Convert>
    void addConverted(const std::string &name, Convert convert);
    /// Returns why the register cannot hold a property of this name; empty if it can.
    std::string objection(const std::string &name);

    /// The value of a text, and of a list of texts, without a type of its own.
    PropertyValue fromText(const std::string &text) const;
    PropertyValue fromTexts(const std::vector<std::string> &texts) const;

    Imported imported;

private:
    const bool _guessTypes;
    utils::properties::RegisterFile _names; ///< those of `imported`
    utils::properties::RegisterFile _trial; ///< always empty; decides which names are allowed
};

/// The list of values of one type. Integers among numbers become numbers. No value for values that
/// have not one type and for those that are not elements of lists, and for an empty list.
std::optional<PropertyValue> listOf(const std::vector<PropertyValue> &values);

/// Returns an integer as the register has it. Throws `utils::Exception` if it has more than 32
/// bits.
int toInteger(std::int64_t value);
int toInteger(std::uint64_t value);

/// The number of the line in which a byte of a text stands.
std::size_t lineOf(const std::string &text, std::size_t offset);
/// Throws `utils::Exception`: "line 12: why".
[[noreturn]] void failAt(std::size_t line, const std::string &why);
/// Returns the number of the first line that makes a text wrong. `isGood` tells whether the front
/// of the text, up to the end of a line, is good.
template <class IsGood>
std::size_t firstBadLine(const std::string &text, IsGood isGood);

void importQSettings(const std::string &text, Settings &settings);
void importKeyFile(const std::string &text, Settings &settings);
void importDconf(const std::string &text, Settings &settings);
void importGSettings(const std::string &text, Settings &settings);
void importJson(const std::string &text, Settings &settings);

template <class Convert>
void Settings::addConverted(const std::string &name, Convert convert) {
    PropertyValue value;
    try {
        value = convert();
    } catch (const utils::Exception &error) {
        return refuse(name, error.what());
    }
    add(name, std::move(value));
}

template <class IsGood>
std::size_t firstBadLine(const std::string &text, IsGood isGood) {
    std::vector<std::size_t> ends;
    for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n', end + 1))
        ends.push_back(end + 1);
    const auto bad = std::partition_point(
        ends.begin(), ends.end(), [&](std::size_t end) { return isGood(text.substr(0, end)); });
    return static_cast<std::size_t>(bad - ends.begin()) + 1;
}

} // namespace registerctl
