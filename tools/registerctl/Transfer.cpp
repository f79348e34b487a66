#include "Dump.h"
#include "Import.h"
#include "Literal.h"
#include "Progress.h"
#include "TemporaryDirectory.h"
#include "TextFile.h"
#include "Verbs.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>

#include <sys/wait.h>

namespace registerctl {

using utils::properties::RegisterFileError;
namespace fs = std::filesystem;

namespace {

/// The content of a dump on standard input.
RegisterFile inputDump(const std::string &prefix) {
    const std::string text = readText("-");
    RegisterFile source = scratchFile();
    try {
        readDump(text, source, prefix);
    } catch (const Failure &failure) {
        throw Failure(failure.code, std::string("standard input: ") + failure.what());
    }
    return source;
}

/// Brings the content of `source` below `prefix` into the target, and saves it, or prints what that
/// would change.
void transfer(const Options &options, const RegisterFile &source, const std::string &prefix) {
    const Files files(options.selection);
    RegisterFile target = files.openTarget();
    const Content before = contentOf(target, prefix);
    if (options.replace)
        removeContent(target, prefix);
    copyContent(contentOf(source, prefix), source, target);
    const Content after = contentOf(target, prefix);
    if (options.dryRun)
        writeDifferences(std::cout, differences(before, after));
    else if (before != after)
        files.save(target);
}

/// A dump with a comment of this program as its second line, in place of an earlier one.
std::string withComment(const std::string &comment, std::string dump) {
    const std::string mark = "# registerctl: ";
    if (dump.find('\n') == dump.npos)
        dump += '\n';
    const std::size_t second = dump.find('\n') + 1;
    if (dump.compare(second, mark.size(), mark) == 0)
        dump.erase(second, std::min(dump.find('\n', second), dump.size() - 1) + 1 - second);
    return dump.insert(second, mark + comment + "\n");
}

std::string editor() {
    for (const char *variable : {"VISUAL", "EDITOR"})
        if (const char *value = std::getenv(variable); value && *value)
            return value;
    return "vi";
}

/// Has the user edit a file. Returns its new text.
std::string editText(const std::string &path, const std::string &text) {
    writeText(path, text);
    ::setenv("REGISTERCTL_FILE", path.c_str(), 1);
    const int status = std::system((editor() + " \"$REGISTERCTL_FILE\"").c_str());
    if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw Failure(WrongValue, "the editor \"" + editor() + "\" failed; nothing is changed");
    return readText(path);
}

std::string editable(const Content &content) {
    std::ostringstream dump;
    writeDump(dump, content);
    return withComment("save and leave the editor to apply your changes", dump.str());
}

/// Has the user edit a dump, again while it has errors. Returns what it holds.
RegisterFile editDump(const std::string &path, std::string shown, const std::string &prefix) {
    for (;;) {
        // With a comment, so that the numbers of lines are those of what comes back.
        const std::string edited = withComment({}, editText(path, shown));
        RegisterFile source = scratchFile();
        try {
            readDump(edited, source, prefix);
            return source;
        } catch (const Failure &failure) {
            const std::string commented = withComment(failure.what(), edited);
            if (commented == shown) // the person gives up, or the editor is not used by a person
                throw Failure(WrongValue, std::string(failure.what()) + "; nothing is changed");
            shown = commented;
        }
    }
}

std::string prefixed(const std::string &prefix, const std::string &name) {
    return prefix.empty() ? name : prefix + "/" + name;
}

} // namespace

ExitCode dump(const Options &options) {
    const std::string prefix = nameArgument(options, true);
    const RegisterFile file = Files(options.selection).openTarget(!options.selection.file.empty());
    const Content content = contentOf(file, prefix);
    if (content.empty() && !prefix.empty())
        throw Failure(NotThere, nameToText(prefix) + ": no such property or group");
    writeDump(std::cout, content);
    return Done;
}

ExitCode load(const Options &options) {
    const std::string prefix = nameArgument(options, true);
    transfer(options, inputDump(prefix), prefix);
    return Done;
}

/// A file for all users, written beside the old one and then renamed. So no lock and no previous
/// generation stay beside a file that a package holds.
ExitCode compile(const Options &options) {
    if (!options.arguments.empty())
        throw Failure(WrongUsage, "the dump is read from standard input");
    std::error_code error; // the output may be a pipe
    const std::string path = fs::weakly_canonical(fs::absolute(options.output), error).string();
    if (error)
        throw Failure(NotWritten, options.output + ": " + error.message());
    // Nothing that is not a register file is overwritten.
    checkUse(openFile(path), options.selection.force);
    const RegisterFile source = inputDump({});
    try {
        const TemporaryDirectory beside(fs::path(path).parent_path().string());
        RegisterFile file(beside / "file");
        copyContent(contentOf(source, {}), source, file);
        file.save();
        fs::permissions(file.path(), fs::perms(0644));
        fs::rename(file.path(), path);
    } catch (const RegisterFileError &error) {
        throw Failure(NotWritten, path + ": " + error.reason());
    } catch (const fs::filesystem_error &error) {
        throw Failure(NotWritten, path + ": " + error.code().message());
    }
    return Done;
}

ExitCode import(const Options &options) {
    if (options.arguments.empty() || options.arguments.size() > 2)
        throw Failure(WrongUsage, "import takes a FILE and at most a PREFIX");
    const std::string &path = options.arguments[0];
    const std::string prefix = options.arguments.size() < 2 ? "" : normalName(options.arguments[1]);
    Imported imported;
    try {
        imported = importFrom(options.format, readText(path), !options.strings);
    } catch (const utils::Exception &error) {
        throw Failure(WrongValue, path + ": " + error.what());
    }
    RegisterFile source = scratchFile();
    Progress progress(imported.properties.size());
    std::size_t count = 0;
    for (const auto &[name, value] : imported.properties) {
        try {
            writeValue(source, prefixed(prefix, name), value);
            progress.reached(++count);
        } catch (const Failure &failure) { // the prefix makes it too long
            imported.refused.push_back(failure.what());
        }
    }
    transfer(options, source, prefix);
    for (const std::string &refused : imported.refused)
        warn(path + ": " + refused);
    if (!imported.refused.empty())
        warn(path + ": " + std::to_string(imported.refused.size()) + " of " +
             std::to_string(imported.refused.size() + count) + " settings were not imported");
    return Done;
}

ExitCode edit(const Options &options) {
    const std::string prefix = nameArgument(options, true);
    const Files files(options.selection);
    RegisterFile file = files.openTarget();
    if (!options.selection.force)
        checkUse(file, false); // before the user's work
    const Content before = contentOf(file, prefix);
    const char *const temporary = std::getenv("TMPDIR");
    TemporaryDirectory directory(temporary && *temporary ? temporary : "/tmp");
    const std::string path = directory / "dump.conf";
    const RegisterFile source = editDump(path, editable(before), prefix);
    try {
        removeContent(file, prefix);
        copyContent(contentOf(source, prefix), source, file);
        if (contentOf(file, prefix) != before)
            files.save(file);
    } catch (const Failure &failure) {
        directory.keep();
        throw Failure(failure.code, std::string(failure.what()) + "; your text is in " + path);
    }
    return Done;
}

} // namespace registerctl
