#include "register/Scopes.h"

namespace utils::properties {

std::size_t indexOf(RegisterScope scope) {
    for (std::size_t i = 0; i < std::size(scopes); ++i)
        if (scopes[i].value == scope)
            return i;
    throw Exception("Bad scope value.");
}

} // namespace utils::properties
