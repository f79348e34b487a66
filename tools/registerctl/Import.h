#pragma once

#include <register/PropertyValue.h>

#include <map>
#include <string>
#include <vector>

/// Settings in the file formats of other stores.
namespace registerctl {

using utils::properties::PropertyValue;

/// What a file of another store holds.
struct Imported {
    std::map<std::string, PropertyValue> properties; ///< by their names in normal form, "a/b/c"
    std::vector<std::string> refused; ///< "NAME: why", one for each setting that is not imported
};

/// The names of the formats:
///
/// | name      | text                                                                |
/// |-----------|---------------------------------------------------------------------|
/// | qsettings | an INI file as QSettings writes it                                  |
/// | keyfile   | a key file of GLib: "[group]", "key=value" and lists with ";"        |
/// | dconf     | what `dconf dump` prints                                            |
/// | gsettings | what `gsettings list-recursively` prints                            |
/// | json      | an object; its objects are groups, its arrays lists or records       |
const std::vector<std::string> &importFormats();

/// Reads a text in one of the formats. A setting is imported whole or refused.
///
/// The text of the first two formats has no types. With `guessTypes`, "true" and "false" are
/// booleans, and a number that is written in its one usual way is an integer or a number. Texts
/// such as "007", "1.50" and "3000000000", which would not come back the same, remain strings, and
/// so does everything without `guessTypes`.
///
/// Throws `utils::Exception` for an unknown format, and for a text that is not in UTF-8 or not of
/// its format: "line 12: why". Also throws for JSON that has one key twice in one object or more
/// than 512 levels, and for an INI file of more than 16 MiB.
Imported importFrom(const std::string &format, const std::string &text, bool guessTypes);

} // namespace registerctl
