#pragma once

#include "Failure.h"

#include <register/RegisterFile.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The register files that the command line selects.
namespace registerctl {

using utils::properties::PropertyValue;
using utils::properties::RegisterFile;

/// The options in front of the verb.
struct Selection {
    std::string app;          ///< "ORG/APP" or "APP"
    std::string user, global; ///< directories
    std::string file;
    std::string scope; ///< "user", "global" or empty
    bool force = false;
};

/// One file of a register, with its content.
struct Layer {
    std::string scope; ///< "user", "global" or "file"
    RegisterFile file;
};

/// Tells a file that cannot be read from one that is damaged or newer.
ExitCode codeOf(const utils::properties::RegisterFileError &error);
/// Opens a register file. Throws `Failure` for a file that cannot be read or is damaged, and with
/// `mustExist` also for one that does not exist.
RegisterFile openFile(const std::string &path, bool mustExist = false);

/// Throws `Failure` with `InUse` when a running process will overwrite a file; with `force`, warns.
void checkUse(const RegisterFile &file, bool force);

/// Saves a file of the global scope. A new one can be read by all users, and the umask decides
/// about new directories. Throws `RegisterFileError` and `std::filesystem::filesystem_error`.
utils::properties::SyncResult saveForAll(RegisterFile &file);

class Files {
public:
    /// Throws `Failure` with `WrongUsage` when the options do not name a register.
    explicit Files(const Selection &selection);

    /// The scopes and paths of the files that a read looks into, in their order; the scope of a
    /// file that is given by its path is "file".
    std::vector<std::pair<std::string, std::string>> paths() const;
    /// These files, opened. A file given by its path must exist.
    std::vector<Layer> layers(bool mustExist = true) const;
    /// The one file that a write changes, and that `dump` and `watch` show.
    std::string target() const;
    RegisterFile openTarget(bool mustExist = false) const { return openFile(target(), mustExist); }
    /// The path of the file of a scope. Throws `Failure` when the scope has none.
    std::string path(const std::string &scope) const;

    /// Saves the target. Throws `Failure`: `InUse` when a running process will overwrite the file,
    /// `NotWritten` when it cannot be written. A new file of the global scope is readable by all.
    void save(RegisterFile &file) const;

private:
    std::string _user, _global; ///< paths of files; empty if the command line names none
    std::string _file, _scope;
    bool _force;
};

/// The first value of a name, in the order of the layers, and the layer. Null when there is none.
const Layer *findProperty(const std::vector<Layer> &layers, const std::string &name);
/// True when one of the files has a group of this name.
bool isGroup(const std::vector<Layer> &layers, const std::string &name);

/// A message on standard error, in the form of all messages; the middle of a long one is left out.
void warn(const std::string &message);

} // namespace registerctl
