#pragma once

#include "exception/Export.h"

#include <exception>
#include <string>

namespace utils {

/// The exception of this library: one message, in UTF-8.
class REGISTER_EXPORT Exception : public std::exception {
public:
    /// An exception whose message is empty.
    Exception();
    /// Copies the text; a null pointer counts as the empty text.
    Exception(const char *message);
    /// Copies the text.
    Exception(const std::string &message);
    ~Exception() override;

    /// The message; valid as long as this object lives and is not assigned to.
    const char *what() const noexcept override;

private:
    std::string _message;
};

} // namespace utils
