#include "Dump.h"
#include "Files.h"
#include "Literal.h"
#include "TextFile.h"
#include "Verbs.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <sstream>

namespace registerctl {

using utils::properties::FileFault;
using utils::properties::RegisterFileError;
namespace fs = std::filesystem;

namespace {

bool isDump(const std::string &text) {
    return text.compare(0, sizeof dumpHeader - 1, dumpHeader) == 0;
}

/// The content of "user", "global", a register file or a dump.
Content operand(const std::string &name, const Selection &selection) {
    if (name == "user" || name == "global")
        return contentOf(openFile(Files(selection).path(name)), {});
    const std::string text = readText(name);
    if (!isDump(text))
        return contentOf(openFile(name, true), {});
    RegisterFile dump = scratchFile();
    try {
        readDump(text, dump, {});
    } catch (const Failure &failure) {
        throw Failure(failure.code, name + ": " + failure.what());
    }
    return contentOf(dump, {});
}

/// What can still be read of a file, and what is wrong with it.
RegisterFile salvaged(const std::string &path, std::vector<FileFault> &faults) {
    try {
        return RegisterFile::salvage(path, path + ".salvaged", faults);
    } catch (const RegisterFileError &error) {
        throw Failure(codeOf(error), error.path() + ": " + error.reason());
    }
}

void printFaults(const std::string &path, const std::vector<FileFault> &faults) {
    for (const FileFault &fault : faults)
        warn(path + ": byte " + std::to_string(fault.offset) + ": " + fault.what);
}

/// Prints what is wrong with a file; nothing if it is good.
ExitCode checkFile(const std::string &path) {
    try {
        openFile(path, true);
        return Done;
    } catch (const Failure &failure) {
        if (failure.code != Damaged) {
            warn(failure.what());
            return failure.code;
        }
    }
    try {
        std::vector<FileFault> faults;
        salvaged(path, faults);
        printFaults(path, faults);
    } catch (const Failure &hopeless) {
        warn(hopeless.what());
    }
    return Damaged;
}

std::string salvageDump(const std::string &path, const Content &content,
                        const std::vector<FileFault> &faults) {
    std::ostringstream out;
    out << dumpHeader << "\n# salvaged from " << nameToText(path) << '\n';
    for (const FileFault &fault : faults)
        out << "# byte " << fault.offset << ": " << fault.what << '\n';
    for (const auto &entry : content)
        out << dumpLine(entry) << '\n';
    return out.str();
}

/// Only a dump may be overwritten: the damaged file is all that is left of its settings.
void checkOutput(const std::string &output, const std::string &damaged) {
    std::error_code missing;
    if (fs::equivalent(output, damaged, missing))
        throw Failure(WrongUsage, output + " is the damaged file");
    if (fs::is_regular_file(output, missing) && !fs::is_empty(output) && !isDump(readText(output)))
        throw Failure(NotWritten, output + " exists, and is no dump");
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
    for (const std::string &path : options.arguments)
        worst = std::max(worst, checkFile(path));
    return worst;
}

ExitCode salvage(const Options &options) {
    if (options.arguments.size() != 1)
        throw Failure(WrongUsage, "salvage takes one FILE");
    const std::string &path = options.arguments[0];
    std::vector<FileFault> faults;
    if (!options.output.empty())
        checkOutput(options.output, path);
    const std::string dump = salvageDump(path, contentOf(salvaged(path, faults), {}), faults);
    if (options.output.empty())
        std::cout << dump;
    else
        writeText(options.output, dump);
    printFaults(path, faults);
    return faults.empty() ? Done : NotThere;
}

} // namespace registerctl
