#include "register/Directories.h"

#include "filesystem/RealFileSystem.h"
#include "filesystem/Utf8.h"
#include "register/Register.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <system_error>
#include <vector>

#include <pwd.h>
#include <unistd.h>

// Qt's QStandardPaths is not used: versions 5.15 and 6.4 accept relative paths in the variables,
// and without a home directory they return paths below "/".
namespace utils::properties {

namespace fs = std::filesystem;

namespace {

bool isAbsolute(const std::string &path) {
    return !path.empty() && path.front() == '/';
}

std::string variable(const char *name) {
    const char *value = ::secure_getenv(name);
    return value ? value : "";
}

/// Returns an absolute path from the environment, otherwise an empty string.
std::string pathIn(const char *name) {
    std::string path = variable(name);
    return isAbsolute(path) ? path : std::string();
}

/// Returns the absolute paths in a list, which ":" separates.
std::vector<std::string> absolutePaths(const std::string &list) {
    std::vector<std::string> paths;
    std::istringstream entries(list);
    for (std::string path; std::getline(entries, path, ':');)
        if (isAbsolute(path))
            paths.push_back(path);
    return paths;
}

/// Returns the absolute paths of a list in the environment, or of `standard` where it has none.
std::vector<std::string> pathsIn(const char *name, const char *standard) {
    std::vector<std::string> paths = absolutePaths(variable(name));
    return paths.empty() ? absolutePaths(standard) : paths;
}

std::string homeDirectory() {
    std::string home = pathIn("HOME");
    if (!home.empty())
        return home;
    struct passwd entry = {}, *found = nullptr;
    std::vector<char> text(16 * 1024);
    if (::getpwuid_r(::geteuid(), &entry, text.data(), text.size(), &found) == 0 && found)
        home = found->pw_dir;
    if (!isAbsolute(home))
        throw Exception("The user has no home directory for the settings.");
    return home;
}

std::string userDirectory(const std::string &application) {
    std::string base = pathIn("XDG_CONFIG_HOME");
    if (base.empty())
        base = fs::path(homeDirectory()) / ".config";
    return fs::path(base) / application;
}

std::string globalDirectory(const std::string &application) {
    std::vector<std::string> bases = pathsIn("XDG_CONFIG_DIRS", "/etc/xdg");
    for (const std::string &base : pathsIn("XDG_DATA_DIRS", "/usr/local/share:/usr/share"))
        bases.push_back(base);
    const QString file = filesystem::toQString(_Register::_BV_REGISTER_NAME);
    for (const std::string &base : bases) {
        std::string directory = fs::path(base) / application;
        if (filesystem::RealFileSystem(filesystem::toQString(directory)).exists(file))
            return directory;
    }
    return fs::path(bases.front()) / application;
}

void check(const std::string &what, const std::string &name) {
    if (name == "." || name == ".." || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos)
        throw Exception("The name of the " + what + " cannot be that of a directory.");
}

/// Returns the directory as an absolute path; empty where there is none.
fs::path existingPortable(const std::string &portable) {
    if (portable.find('\0') != std::string::npos)
        throw Exception("The name of the portable directory contains a NUL byte.");
    if (portable.empty())
        return {};
    std::error_code error; // what cannot be read counts as missing
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    fs::path directory = program.parent_path() / portable;
    return directory.is_absolute() && fs::is_directory(directory, error) ? directory : fs::path();
}

} // namespace

Directories standardDirectories(const std::string &organization, const std::string &application,
                                const std::string &portable) {
    if (application.empty())
        throw Exception("The application needs a name.");
    check("application", application);
    check("organization", organization);
    const std::string name = organization.empty() ? application : organization + "/" + application;
    const fs::path together = existingPortable(portable);
    Directories directories{pathIn("REGISTER_GLOBAL_DIR"), pathIn("REGISTER_USER_DIR")};
    if (directories.global.empty())
        directories.global = together.empty() ? globalDirectory(name) : together / "global";
    if (directories.user.empty())
        directories.user = together.empty() ? userDirectory(name) : together / "user";
    return directories;
}

} // namespace utils::properties
