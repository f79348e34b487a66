#include "Progress.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include <unistd.h>

namespace registerctl {

Progress::Progress(std::size_t total)
    : _total(std::max<std::size_t>(total, 1)), _isTerminal(::isatty(STDERR_FILENO) == 1),
      _next(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
    if (_isShown)
        std::fputs("\r\033[K", stderr);
}

void Progress::reached(std::size_t amount) {
    constexpr std::size_t width = 40;
    if (!_isTerminal || ++_calls % 256 != 0 || Clock::now() < _next)
        return;
    _next = Clock::now() + std::chrono::milliseconds(100);
    _isShown = true;
    const std::size_t done = std::min(amount, _total) * width / _total;
    const std::string bar = std::string(done, '#') + std::string(width - done, ' ');
    std::fprintf(stderr, "\r[%s] %zu %%", bar.c_str(), std::min(amount, _total) * 100 / _total);
}

} // namespace registerctl
