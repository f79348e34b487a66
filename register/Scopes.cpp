#include "register/Scopes.h"

#include <algorithm>

namespace utils::properties {

const filesystem::Top scopeTops[std::size(scopes)] = {
    filesystem::Top(scopes[0].name()),
    filesystem::Top(scopes[1].name()),
    filesystem::Top(scopes[2].name()),
};

std::size_t indexOf(RegisterScope scope) {
    for (std::size_t i = 0; i < std::size(scopes); ++i)
        if (scopes[i].value == scope)
            return i;
    throw Exception("Bad scope value.");
}

} // namespace utils::properties
