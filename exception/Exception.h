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
    /// Copies the message. A null pointer stands for an empty message.
    Exception(const char *message);
    /// Copies the message.
    Exception(const std::string &message);
    ~Exception() override;

    /// Returns the message. It is valid until this object is destroyed or assigned to.
    const char *what() const noexcept override;

private:
    std::string _message;
};

} // namespace utils
