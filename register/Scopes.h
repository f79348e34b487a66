#pragma once

#include "filesystem/Path.h"
#include "register/Register.h"

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

namespace utils::properties {

/// A scope: its value, its root in the tree, and the directory of its file, if it has one.
struct Scope {
    RegisterScope value;
    std::string_view root;
    const std::string *directory;

    /// The root's name in the tree.
    constexpr std::string_view name() const { return root.substr(1, root.size() - 2); }
};

/// The scopes, in the order in which a name without a scope is looked up.
inline constexpr Scope scopes[] = {
    {UserScope, "/user/", &_Register::_UserRegisterPath},
    {GlobalScope, "/global/", &_Register::_GlobalRegisterPath},
    {TempScope, "/temp/", nullptr},
};

/// The roots of the scopes as first levels of a path, in the same order; see `Tree::keepTogether`.
inline constexpr filesystem::Top scopeTops[] = {
    {scopes[0].name(), 0},
    {scopes[1].name(), 1},
    {scopes[2].name(), 2},
};
static_assert(std::size(scopeTops) == std::size(scopes));

/// The place of a scope in both. Throws `Exception` for a value that is not a scope.
std::size_t indexOf(RegisterScope scope);

inline const filesystem::Top &topOf(RegisterScope scope) {
    return scopeTops[indexOf(scope)];
}

} // namespace utils::properties
