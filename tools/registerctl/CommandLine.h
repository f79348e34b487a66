#pragma once

#include "Verbs.h"

#include <CLI/CLI.hpp>

namespace registerctl {

/// A verb of the command line.
struct Verb {
    const char *name;
    const char *form;     ///< what follows the name in the line of usage
    const char *what;     ///< one line
    const char *examples; ///< lines of a shell
    ExitCode (*run)(const Options &);
    void (*addOptions)(CLI::App &verb, Options &options);
    bool takesFiles =
        false; ///< options may also follow its operands, which are no names and values
};

const std::vector<Verb> &verbs();

/// The parser of the command line. The operands of a verb are not parsed: they are in `remaining`
/// of the verb.
class CommandLine {
public:
    explicit CommandLine(Options &options);

    /// Throws `CLI::ParseError`, also for `--help` and `--version`, and `Failure`.
    const Verb &parse(int count, char **arguments);
    CLI::App &app() { return _app; }

private:
    Options &_options;
    CLI::App _app;
};

} // namespace registerctl
