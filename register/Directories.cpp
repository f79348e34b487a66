#include "register/Directories.h"

#include "filesystem/Utf8.h"
#include "register/Register.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <cstdlib>

namespace utils::properties {

using filesystem::toQString;

namespace {

bool isAbsolute(const QString &path) {
    return path.startsWith(u'/');
}

void checkName(const std::string &name) {
    if (name == "." || name == ".." || name.find_first_of(std::string("/\0", 2)) != name.npos)
        throw Exception("\"" + name + "\" cannot be the name of a directory.");
}

/// Ignores a relative `XDG_CONFIG_HOME`, which some versions of Qt do not.
QString userConfiguration() {
    const QString given = qEnvironmentVariable("XDG_CONFIG_HOME");
    const QString path =
        given.isEmpty() || isAbsolute(given)
            ? QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
            : QDir::homePath() + QStringLiteral("/.config");
    if (!isAbsolute(path) || QDir::homePath() == QDir::rootPath())
        throw Exception("The user has no home directory.");
    return path;
}

/// The absolute paths in a variable, or in `standard` if there are none.
QStringList pathsIn(const char *variable, const char *standard) {
    QStringList paths;
    for (const QString &path : qEnvironmentVariable(variable).split(u':'))
        if (isAbsolute(path))
            paths.append(path);
    return paths.isEmpty() ? QString::fromLatin1(standard).split(u':') : paths;
}

QString globalDirectory(const QString &name) {
    const QStringList directories = pathsIn("XDG_CONFIG_DIRS", "/etc/xdg") +
                                    pathsIn("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    const QString file = name + u'/' + toQString(_Register::_BV_REGISTER_NAME);
    for (const QString &directory : directories)
        if (QFileInfo::exists(directory + u'/' + file))
            return directory + u'/' + name;
    return directories.front() + u'/' + name;
}

/// The absolute path of an existing directory; empty if there is none.
std::string besideProgram(const std::string &portable) {
    const QFileInfo program(QFile::symLinkTarget(QStringLiteral("/proc/self/exe")));
    const QString path = program.dir().absoluteFilePath(toQString(portable));
    return !portable.empty() && QFileInfo(path).isDir() ? path.toStdString() : std::string();
}

std::string orOverride(const char *variable, const std::string &path) {
    const char *given = ::secure_getenv(variable);
    return given && *given == '/' ? given : path;
}

} // namespace

Directories standardDirectories(const std::string &organization, const std::string &application,
                                const std::string &portable) {
    if (application.empty())
        throw Exception("An application needs a name.");
    checkName(organization);
    checkName(application);
    const QString name =
        toQString(organization.empty() ? application : organization + "/" + application);
    Directories directories;
    if (const std::string path = besideProgram(portable); !path.empty())
        directories = {path + "/global", path + "/user"};
    else
        directories = {globalDirectory(name).toStdString(),
                       (userConfiguration() + u'/' + name).toStdString()};
    return {orOverride("REGISTER_GLOBAL_DIR", directories.global),
            orOverride("REGISTER_USER_DIR", directories.user)};
}

} // namespace utils::properties
