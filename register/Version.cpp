#include "register/Version.h"

#define TEXT_OF(number) #number
#define VERSION_TEXT(major, minor, patch) TEXT_OF(major) "." TEXT_OF(minor) "." TEXT_OF(patch)

namespace utils::properties {

const char *registerVersion() {
    return VERSION_TEXT(REGISTER_VERSION_MAJOR, REGISTER_VERSION_MINOR, REGISTER_VERSION_PATCH);
}

} // namespace utils::properties
