#pragma once

#include <stdexcept>
#include <string>

namespace registerctl {

/// The exit codes of the program; the manual lists them.
enum ExitCode {
    Done = 0,
    NotThere = 1, ///< also differences, and a part that is lost
    WrongUsage = 2,
    NotReadable = 3,
    Damaged = 4, ///< or newer
    WrongValue = 5,
    NotWritten = 6,
    InUse = 7
};

/// Ends the program with a message and an exit code.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string &message) : std::runtime_error(message), code(code) {}

    const ExitCode code;
};

} // namespace registerctl
