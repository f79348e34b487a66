#pragma once

#include <chrono>
#include <cstddef>

namespace registerctl {

/// A progress bar on standard error, if that is a terminal, for work that takes longer than a
/// second.
class Progress {
public:
    /// `total` is the amount of work, in any unit.
    explicit Progress(std::size_t total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void reached(std::size_t amount);

private:
    using Clock = std::chrono::steady_clock;

    const std::size_t _total;
    const bool _isTerminal;
    Clock::time_point _next; ///< when the bar is drawn next
    std::size_t _calls = 0;
    bool _isShown = false;
};

} // namespace registerctl
