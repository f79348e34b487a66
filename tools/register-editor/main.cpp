#include "../registerctl/Files.h"
#include "MainWindow.h"

#include <register/Directories.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>

#include <iostream>

using namespace registerEditor;
using registerctl::Failure;
using utils::properties::GlobalScope;
using utils::properties::UserScope;

namespace {

/// The register that the command line names. Throws `Failure` when it names none, or two.
registerctl::Selection selectionOf(const QCommandLineParser &parser) {
    const QStringList files = parser.positionalArguments();
    const bool hasDirectories = parser.isSet("user") || parser.isSet("global");
    const auto given = files.size() + parser.isSet("app") + hasDirectories;
    const bool isInEnvironment = qEnvironmentVariableIsSet("REGISTER_USER_DIR") ||
                                 qEnvironmentVariableIsSet("REGISTER_GLOBAL_DIR");
    if (given > 1 || (given == 0 && !isInEnvironment))
        throw Failure(
            registerctl::WrongUsage,
            "which register? Give one FILE, --app ORG/APP, or --user DIR and --global DIR");
    registerctl::Selection selection;
    selection.app = parser.value("app").toStdString();
    selection.user = parser.value("user").toStdString();
    selection.global = parser.value("global").toStdString();
    if (!files.isEmpty())
        selection.file = QDir().absoluteFilePath(files.front()).toStdString();
    if (QFileInfo(QString::fromStdString(selection.file)).isDir())
        throw Failure(registerctl::WrongUsage, selection.file + " is a directory; see --user");
    return selection;
}

std::vector<FileSource::Path> pathsOf(const registerctl::Selection &selection) {
    std::vector<FileSource::Path> paths;
    for (const auto &[scope, path] :
         registerctl::Files(selection).paths()) // the first one is edited
        paths.push_back({paths.empty() ? UserScope : GlobalScope, path, scope == "global"});
    return paths;
}

/// The options of `registerctl` that name the same register from any directory.
QStringList optionsOf(const registerctl::Selection &selection) {
    QStringList options;
    if (!selection.app.empty())
        options += {"--app", QString::fromStdString(selection.app)};
    if (!selection.file.empty())
        options += {"-f", QString::fromStdString(selection.file)};
    for (const auto &[option, directory] :
         {std::pair("--user", selection.user), std::pair("--global", selection.global)})
        if (!directory.empty())
            options += {option, QDir().absoluteFilePath(QString::fromStdString(directory))};
    return options;
}

/// Does what the program can do without: its own settings must not keep it from working.
template <class Step>
void attempt(Step step) {
    try {
        step();
    } catch (const std::exception &error) {
        std::cerr << "register-editor: " << error.what() << '\n';
    } catch (const utils::properties::PropertyNotFound &) { // the first start
    } catch (const utils::properties::PropertyBadType &) {  // replaced at the end
    }
}

/// Shows the window where it was last. Returns the exit code.
int run(MainWindow &window) {
    const std::string path = utils::properties::standardDirectories("", "register-editor").user +
                             "/" + utils::properties::_Register::_BV_REGISTER_NAME;
    const std::string geometry = "window/geometry";
    attempt([&] {
        std::string last;
        RegisterFile(path)._readString(geometry, last);
        window.restoreGeometry(QByteArray::fromStdString(last));
    });
    window.show();
    const int code = QApplication::exec();
    attempt([&] {
        RegisterFile own(path);
        own._writeString(geometry, window.saveGeometry().toStdString());
        own.save();
    });
    return code;
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
    try {
        if (!parser.parse(QApplication::arguments()))
            throw Failure(registerctl::WrongUsage, parser.errorText().toStdString());
        if (parser.isSet("help"))
            parser.showHelp();
        if (parser.isSet("version"))
            parser.showVersion();
        const registerctl::Selection selection = selectionOf(parser);
        MainWindow window(pathsOf(selection), optionsOf(selection));
        return run(window);
    } catch (const Failure &failure) {
        std::cerr << "register-editor: " << failure.what() << '\n';
        return failure.code;
    }
}
