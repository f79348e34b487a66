#include "Dump.h"
#include "Files.h"
#include "Verbs.h"

#include <iostream>

namespace registerctl {

namespace {

/// The content of "user", "global", a register file or a dump.
Content operand(const std::string &name, const Selection &selection) {
    if (name == "user" || name == "global")
        return contentOf(openFile(Files(selection).path(name)), {});
    const std::string text = readInput(name);
    if (text.compare(0, sizeof dumpHeader - 1, dumpHeader) != 0)
        return contentOf(openFile(name, true), {});
    RegisterFile dump = scratchFile();
    try {
        readDump(text, dump, {});
    } catch (const Failure &failure) {
        throw Failure(failure.code, name + ": " + failure.what());
    }
    return contentOf(dump, {});
}

} // namespace

ExitCode diff(const Options &options) {
    if (options.arguments.size() != 2)
        throw Failure(WrongUsage, "diff takes two of user, global, a register file and a dump");
    const Content before = operand(options.arguments[0], options.selection);
    const Content after = operand(options.arguments[1], options.selection);
    const auto found = differences(before, after);
    writeDifferences(std::cout, found);
    return found.empty() ? Done : NotThere;
}

ExitCode check(const Options &options) {
    if (options.arguments.empty())
        throw Failure(WrongUsage, "a FILE is missing");
    ExitCode worst = Done;
    for (const std::string &path : options.arguments) {
        try {
            openFile(path, true);
        } catch (const Failure &failure) {
            worst = std::max(worst, failure.code);
            warn(failure.what());
        }
    }
    return worst;
}

} // namespace registerctl
