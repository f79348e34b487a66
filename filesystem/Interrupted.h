#pragma once

#include <cerrno>

namespace filesystem {

/// Makes a system call again that a signal has interrupted, but not for ever.
template <class Call>
auto retryInterrupted(Call call) {
    constexpr int attempts = 100;
    auto result = call();
    for (int attempt = 1; result == -1 && errno == EINTR && attempt < attempts; ++attempt)
        result = call();
    return result;
}

} // namespace filesystem
