#pragma once

#include <register/RegisterFile.h>

#include <iosfwd>
#include <map>
#include <string>

/// The content of a register file as text. The manual describes dumps.
namespace registerctl {

using utils::properties::RegisterFile;

/// Names and literals, sorted by the bytes of the names. The name of a group without members ends
/// in "/", and its literal is empty. Equal contents have equal literals, byte for byte.
using Content = std::map<std::string, std::string>;

/// The first line of a dump.
inline constexpr char dumpHeader[] = "# registerctl dump 1";

/// A register file in memory, for content that is checked before it is used. It cannot be saved.
RegisterFile scratchFile();

/// The content of a group, or a property; with an empty prefix that of the file. Empty when nothing
/// has the name.
Content contentOf(const RegisterFile &file, const std::string &prefix);
/// One line of a dump, without its end.
std::string dumpLine(const Content::value_type &entry);
void writeDump(std::ostream &out, const Content &content);
/// Reads a dump into `file`. Throws `Failure` with `WrongValue` that names the line, also for a
/// name that is not `prefix` or below it.
void readDump(const std::string &text, RegisterFile &file, const std::string &prefix);

/// Copies content from one file to another, where it replaces properties of the same names. Throws
/// `Failure` with `WrongValue` for a name that the target cannot hold.
void copyContent(const Content &content, const RegisterFile &from, RegisterFile &to);
/// Writes a content. Throws `Failure` with `WrongValue` for a name that the file cannot hold.
void writeContent(const Content &content, RegisterFile &file);
/// Removes a group or a property; with an empty prefix everything.
void removeContent(RegisterFile &file, const std::string &prefix);

/// One change of a comparison: what `before` and `after` have, with null for nothing.
struct Difference {
    const Content::value_type *before, *after;
};
std::vector<Difference> differences(const Content &before, const Content &after);
/// Lines as of `diff`: "-" for what `before` has, "+" for what `after` has.
void writeDifferences(std::ostream &out, const std::vector<Difference> &differences);

} // namespace registerctl
