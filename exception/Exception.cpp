#include "exception/Exception.h"

namespace utils {

Exception::Exception() = default;

Exception::Exception(const char *message) : _message(message ? message : "") {}

Exception::Exception(const std::string &message) : _message(message) {}

Exception::~Exception() = default;

const char *Exception::what() const noexcept {
    return _message.c_str();
}

} // namespace utils
