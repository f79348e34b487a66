#pragma once

#include "Failure.h"
#include "Files.h"

#include <optional>
#include <string>
#include <vector>

/// The verbs of the command line; the manual describes them. Each throws `Failure`.
namespace registerctl {

/// The command line.
struct Options {
    Selection selection;
    std::vector<std::string> arguments; ///< what follows the options of the verb
    std::optional<std::string> standIn; ///< --default
    std::string type, format, output;
    bool nul = false, literal = false, json = false, names = false, details = false;
    bool recursive = false, strict = false, replace = false, dryRun = false, strings = false;
};

ExitCode get(const Options &options);
ExitCode list(const Options &options);
ExitCode tree(const Options &options);
ExitCode type(const Options &options);
ExitCode explain(const Options &options);

ExitCode set(const Options &options);
ExitCode unset(const Options &options);

ExitCode dump(const Options &options);
ExitCode load(const Options &options);
ExitCode compile(const Options &options);
ExitCode import(const Options &options);
ExitCode edit(const Options &options);

ExitCode diff(const Options &options);
ExitCode check(const Options &options);
ExitCode salvage(const Options &options);
ExitCode watch(const Options &options);

/// Prints the candidates for the last word of a command line, for the completion of shells.
ExitCode complete(std::vector<std::string> words);

/// The only argument, in normal spelling; empty if there is none and `isOptional`. Throws `Failure`
/// with `WrongUsage` for any other number.
std::string nameArgument(const Options &options, bool isOptional = false);
/// The name of a property or a group, in normal spelling. Throws `Failure` for an empty one.
std::string propertyName(const std::string &argument);

} // namespace registerctl
