#include "register/Directories.h"

#include "filesystem/Utf8.h"
#include "register/Register.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

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

/// Ignores a relative `XDG_CONFIG_HOME`, which Qt does not.
QString userConfiguration() {
    const QString given = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (isAbsolute(given))
        return given;
    if (QDir::homePath() == QDir::rootPath()) // for Qt, the home of a user without one
        throw Exception("The user has no home directory.");
    return QDir::homePath() + QStringLiteral("/.config");
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

/// The absolute path in a variable; empty if there is none.
std::string overrideBy(const char *variable) {
    const char *given = ::secure_getenv(variable);
    return given && *given == '/' ? given : std::string();
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
    Directories directories = {overrideBy("REGISTER_GLOBAL_DIR"), overrideBy("REGISTER_USER_DIR")};
    const std::string beside = besideProgram(portable);
    if (directories.global.empty())
        directories.global =
            beside.empty() ? globalDirectory(name).toStdString() : beside + "/global";
    if (directories.user.empty())
        directories.user =
            beside.empty() ? (userConfiguration() + u'/' + name).toStdString() : beside + "/user";
    return directories;
}

} // namespace utils::properties
