#include "Files.h"

#include "Literal.h"

#include <register/Directories.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace registerctl {

using utils::properties::_Register;
using utils::properties::Directories;
using utils::properties::RegisterFileError;
namespace fs = std::filesystem;

namespace {

std::string fileIn(const std::string &directory) {
    return directory.empty() ? directory
                             : (fs::absolute(directory) / _Register::_BV_REGISTER_NAME).string();
}

std::string orEnvironment(const std::string &given, const char *variable) {
    const char *value = std::getenv(variable);
    return given.empty() && value ? value : given;
}

Directories directoriesOf(const std::string &app) {
    const std::size_t slash = app.find('/');
    try {
        return slash == app.npos ? utils::properties::standardDirectories("", app)
                                 : utils::properties::standardDirectories(app.substr(0, slash),
                                                                          app.substr(slash + 1));
    } catch (const utils::Exception &error) {
        throw Failure(WrongUsage, std::string("--app: ") + error.what());
    }
}

} // namespace

void warn(const std::string &message) {
    constexpr std::size_t front = 1500, back = 300; // the reason is at the end
    std::cerr << "registerctl: "
              << escapeControls(message.size() <= front + back
                                    ? message
                                    : message.substr(0, front) + " ... " +
                                          message.substr(message.size() - back))
              << '\n';
}

ExitCode codeOf(const RegisterFileError &error) {
    return error.what() == "Can't open " + error.path() ? NotReadable : Damaged;
}

RegisterFile openFile(const std::string &path, bool mustExist) {
    try {
        const fs::file_type type = fs::status(path).type();
        if (mustExist && type == fs::file_type::not_found)
            throw Failure(NotReadable, path + ": No such file or directory");
        if (type == fs::file_type::fifo || type == fs::file_type::socket)
            throw Failure(NotReadable, path + ": a register file cannot be read from a pipe");
        return RegisterFile(path);
    } catch (const RegisterFileError &error) {
        throw Failure(codeOf(error), error.path() + ": " + error.reason());
    } catch (const fs::filesystem_error &error) {
        throw Failure(NotReadable, path + ": " + error.code().message());
    }
}

void checkUse(const RegisterFile &file, bool force) {
    if (!file.willBeOverwritten())
        return;
    const std::string message = file.path() + ": a running process will overwrite this file";
    if (!force)
        throw Failure(InUse, message + "; --force writes nevertheless");
    warn(message);
}

utils::properties::SyncResult saveForAll(RegisterFile &file) {
    const bool isNew = !fs::exists(file.path());
    fs::create_directories(fs::path(file.path()).parent_path()); // a save makes private ones
    utils::properties::SyncResult result = file.save();
    if (isNew)
        fs::permissions(file.path(), fs::perms(0644));
    return result;
}

Files::Files(const Selection &selection)
    : _file(selection.file), _scope(selection.scope), _force(selection.force) {
    Directories directories = {selection.global, selection.user};
    if (!selection.app.empty()) {
        directories = directoriesOf(selection.app);
    } else if (_file.empty() && directories.user.empty() && directories.global.empty()) {
        directories.user = orEnvironment({}, "REGISTER_USER_DIR");
        directories.global = orEnvironment({}, "REGISTER_GLOBAL_DIR");
    }
    _user = fileIn(directories.user);
    _global = fileIn(directories.global);
    if (_file.empty() && _user.empty() && _global.empty())
        throw Failure(WrongUsage,
                      "which register? Use --app ORG/APP, --user DIR, --global DIR or -f FILE, or "
                      "set REGISTER_USER_DIR and REGISTER_GLOBAL_DIR");
}

std::string Files::path(const std::string &scope) const {
    const std::string &path = scope == "global" ? _global : _user;
    if (path.empty()) {
        const std::string other = scope == "global" ? "user" : "global";
        throw Failure(WrongUsage, "no directory of the scope " + scope + " is given: use --" +
                                      scope + " DIR or --app, or --scope " + other);
    }
    return path;
}

std::string Files::target() const {
    if (!_file.empty())
        return _file;
    return path(_scope.empty() ? "user" : _scope);
}

std::vector<std::pair<std::string, std::string>> Files::paths() const {
    if (!_file.empty())
        return {{"file", _file}};
    if (!_scope.empty())
        return {{_scope, path(_scope)}};
    std::vector<std::pair<std::string, std::string>> paths;
    for (const auto &[scope, path] : {std::pair("user", _user), std::pair("global", _global)})
        if (!path.empty())
            paths.emplace_back(scope, path);
    return paths;
}

std::vector<Layer> Files::layers(bool mustExist) const {
    std::vector<Layer> layers;
    for (const auto &[scope, path] : paths())
        layers.push_back({scope, openFile(path, mustExist && scope == "file")});
    return layers;
}

void Files::save(RegisterFile &file) const {
    checkUse(file, _force);
    try {
        if (_file.empty() && _scope == "global")
            saveForAll(file);
        else
            file.save();
    } catch (const RegisterFileError &error) {
        throw Failure(NotWritten, error.path() + ": " + error.reason());
    } catch (const fs::filesystem_error &error) {
        throw Failure(NotWritten, error.path1().string() + ": " + error.code().message());
    }
    if (!file.lockError().empty())
        warn(file.lockError());
}

const Layer *findProperty(const std::vector<Layer> &layers, const std::string &name) {
    for (const Layer &layer : layers)
        if (layer.file.propertyExists(name) && !layer.file.groupExists(name))
            return &layer;
    return nullptr;
}

bool isGroup(const std::vector<Layer> &layers, const std::string &name) {
    for (const Layer &layer : layers)
        if (layer.file.groupExists(name))
            return true;
    return false;
}

} // namespace registerctl
