#include "MainWindow.h"

#include <register/Directories.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QMessageBox>

using namespace registerEditor;
using namespace utils::properties;

namespace {

std::string fileIn(const QString &directory) {
    return QDir(directory)
        .absoluteFilePath(QString::fromStdString(_Register::_BV_REGISTER_NAME))
        .toStdString();
}

/// The files that the options select, in lookup order, and the same options for `registerctl`.
std::vector<FileSource::Path> selectedFiles(const QCommandLineParser &parser,
                                            QStringList &arguments) {
    if (!parser.positionalArguments().isEmpty()) {
        const QString path = QDir().absoluteFilePath(parser.positionalArguments().front());
        arguments = {"-f", path};
        return {{UserScope, path.toStdString()}};
    }
    QString user = parser.value("user"), global = parser.value("global");
    if (parser.isSet("app")) {
        const QStringList names = parser.value("app").split(u'/');
        const Directories directories = standardDirectories(
            names.size() > 1 ? names.front().toStdString() : "", names.back().toStdString());
        user = QString::fromStdString(directories.user);
        global = QString::fromStdString(directories.global);
        arguments = {"--app", parser.value("app")};
    } else {
        for (const auto &[name, directory] : {std::pair("user", user), std::pair("global", global)})
            if (!directory.isEmpty())
                arguments += {QStringLiteral("--") + QLatin1String(name),
                              QDir().absoluteFilePath(directory)};
    }
    std::vector<FileSource::Path> paths;
    if (!user.isEmpty())
        paths.push_back({UserScope, fileIn(user)});
    if (!global.isEmpty()) // alone, it is the file that is edited
        paths.push_back({paths.empty() ? UserScope : GlobalScope, fileIn(global)});
    return paths;
}

} // namespace

int main(int count, char **arguments) {
    QApplication application(count, arguments);
    QApplication::setApplicationName("register-editor");
    QApplication::setApplicationVersion(REGISTER_EDITOR_VERSION);
    QApplication::setApplicationDisplayName(QObject::tr("Register Editor"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QObject::tr("Shows and edits the settings of applications."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption({"app", QObject::tr("The application, in its standard places."), "ORG/APP"});
    parser.addOption({"user", QObject::tr("The directory of the user's file."), "DIR"});
    parser.addOption({"global", QObject::tr("The directory of the global file."), "DIR"});
    parser.addPositionalArgument("FILE", QObject::tr("A register file alone."), "[FILE]");
    parser.process(application);
    QStringList selection;
    std::vector<FileSource::Path> paths;
    try {
        paths = selectedFiles(parser, selection);
    } catch (const utils::Exception &error) {
        fprintf(stderr, "register-editor: %s\n", error.what());
        return 2;
    }
    if (paths.empty())
        parser.showHelp(2);
    MainWindow window(std::move(paths), std::move(selection));
    window.show();
    return QApplication::exec();
}
