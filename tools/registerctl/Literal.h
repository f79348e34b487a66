#pragma once

#include <register/RegisterFile.h>

#include <string>
#include <string_view>
#include <vector>

/// Values and names as text. The manual describes the literals.
namespace registerctl {

using utils::properties::PropertyValue;
using utils::properties::RegisterFile;

/// A literal for a value; equal bytes have equal literals. Not for `std::monostate`.
std::string toLiteral(const PropertyValue &value);
/// A literal for the bytes of a property that are not a value of the register's types.
std::string rawLiteral(const std::string &bytes);
/// These write a value, or that of a literal. They throw `Failure` with `WrongValue` for text that
/// is no literal, and for a name that the file cannot hold.
void writeValue(RegisterFile &file, const std::string &name, const PropertyValue &value);
void writeLiteral(RegisterFile &file, const std::string &name, std::string_view literal);

/// A name as a dump has it: as it is, or as a JSON string.
std::string nameToText(const std::string &name);
/// Text with escapes of JSON for the characters that control a terminal and those that change the
/// order of the text around them. Bytes that are not UTF-8 become U+FFFD.
std::string escapeControls(const std::string &text);
/// Takes a name off the front of a line. Throws `Failure`.
std::string takeName(std::string_view &line);
/// The normal spelling of a name: without empty levels.
std::string normalName(std::string_view name);

/// The names of the types, as `--type` takes them.
const std::vector<std::string> &typeNames();
/// The name of a value's type: one of `typeNames`, or "none".
std::string typeName(const PropertyValue &value);
/// The value of a type in texts as a shell passes them: without quotes, one for each element of a
/// list. Throws `Failure`.
PropertyValue typedValue(const std::string &type, const std::vector<std::string> &texts);

/// The elements of a value as bare texts; one unless it is a list.
std::vector<std::string> bareTexts(const PropertyValue &value);
/// JSON, for programs. Where JSON has no such value, an object {"literal": "..."}.
std::string toJson(const PropertyValue &value);

} // namespace registerctl
