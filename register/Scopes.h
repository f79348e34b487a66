#pragma once

#include "filesystem/Path.h"
#include "register/Register.h"

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

namespace utils::properties {

/// A scope: its value, its root in the tree, and the directory of its file; null if it has no file.
struct Scope {
    RegisterScope value;
    std::string_view root;
    const std::string *directory;

    /// The root without its slashes: the first level of the paths in the scope.
    constexpr std::string_view name() const { return root.substr(1, root.size() - 2); }
};

/// The scopes in lookup order; see `_Register`.
inline constexpr Scope scopes[] = {
    {UserScope, "/user/", &_Register::_UserRegisterPath},
    {GlobalScope, "/global/", &_Register::_GlobalRegisterPath},
    {TempScope, "/temp/", nullptr},
};

/// The first levels of the paths in the scopes, in the same order; see `Tree::keepTogether`.
inline constexpr filesystem::Top scopeTops[] = {
    {scopes[0].name(), 0},
    {scopes[1].name(), 1},
    {scopes[2].name(), 2},
};
static_assert(std::size(scopeTops) == std::size(scopes) &&
              std::size(scopes) == std::size(lookupOrder));
static_assert(scopes[0].value == lookupOrder[0] && scopes[1].value == lookupOrder[1] &&
              scopes[2].value == lookupOrder[2]);

/// Returns the index of a scope in both arrays. Throws `Exception` for a value that is not a scope.
std::size_t indexOf(RegisterScope scope);

inline const filesystem::Top &topOf(RegisterScope scope) {
    return scopeTops[indexOf(scope)];
}

} // namespace utils::properties
