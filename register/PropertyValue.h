#pragma once

#include <string>
#include <variant>
#include <vector>

namespace utils::properties {

/// Stands for a property that has no value yet.
struct NoValue {
    friend bool operator==(NoValue, NoValue) { return true; }
    friend bool operator!=(NoValue, NoValue) { return false; }
};

/// A property of any type. `std::monostate` stands for no property.
using PropertyValue =
    std::variant<std::monostate, NoValue, std::string, double, int, bool, std::vector<std::string>,
                 std::vector<double>, std::vector<int>, std::vector<bool>>;

} // namespace utils::properties
