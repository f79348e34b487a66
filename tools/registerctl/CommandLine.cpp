#include "CommandLine.h"

#include "Import.h"
#include "Literal.h"

#include <algorithm>

namespace registerctl {

namespace {

/// A variable of a script that is not set must not select another register.
std::string notEmpty(const std::string &value) {
    return value.empty() ? "the value is empty" : "";
}

void addType(CLI::App &verb, Options &options, const char *what) {
    verb.add_option("--type", options.type, what)
        ->check(CLI::IsMember(typeNames()))
        ->type_name("TYPE");
}

void addForce(CLI::App &verb, Options &options) {
    verb.add_flag("--force", options.selection.force,
                  "Write although a running process will overwrite the file");
}

void addDryRun(CLI::App &verb, Options &options) {
    verb.add_flag("-n,--dry-run", options.dryRun, "Print what would change, and write nothing");
}

void addOutputForms(CLI::App &verb, Options &options, bool withLiteral) {
    auto *nul = verb.add_flag("-z,--null", options.nul, "End each element with NUL, not a newline");
    auto *json = verb.add_flag("--json", options.json, "Print JSON")->excludes(nul);
    if (withLiteral)
        verb.add_flag("--literal", options.literal, "Print a literal, as in a dump")
            ->excludes(nul)
            ->excludes(json);
}

void getOptions(CLI::App &verb, Options &options) {
    verb.add_option("--default", options.standIn, "Print this if there is no such property")
        ->type_name("VALUE");
    addType(verb, options, "Read this type, as an application does; others count as missing");
    addOutputForms(verb, options, true);
}

void setOptions(CLI::App &verb, Options &options) {
    auto *literal = verb.add_flag("--literal", options.literal, "VALUE is a literal, as in a dump");
    addType(verb, options, "The type; without it, an existing property keeps its own");
    literal->excludes("--type");
    addForce(verb, options);
}

void unsetOptions(CLI::App &verb, Options &options) {
    verb.add_flag("-r,--recursive", options.recursive, "Remove groups, with all that is in them");
    verb.add_flag("--strict", options.strict, "Fail if a NAME is not there");
    addForce(verb, options);
}

void listOptions(CLI::App &verb, Options &options) {
    verb.add_flag("-l,--long", options.details, "Print the type and the scope too");
    verb.add_flag("--names", options.names, "Print the names alone");
    addOutputForms(verb, options, false);
}

void loadOptions(CLI::App &verb, Options &options) {
    verb.add_flag("--replace", options.replace, "Remove what the dump does not hold");
    addDryRun(verb, options);
    addForce(verb, options);
}

void compileOptions(CLI::App &verb, Options &options) {
    verb.add_option("-o,--output", options.output, "The register file to write")
        ->required()
        ->check(notEmpty)
        ->type_name("FILE");
    addForce(verb, options);
}

void importOptions(CLI::App &verb, Options &options) {
    verb.add_option("--from", options.format, "The format of FILE")
        ->required()
        ->check(CLI::IsMember(importFormats()))
        ->type_name("FORMAT");
    verb.add_flag("--strings", options.strings,
                  "Take text without a type as strings; do not guess numbers and booleans");
    addDryRun(verb, options);
    addForce(verb, options);
}

void salvageOptions(CLI::App &verb, Options &options) {
    verb.add_option("-o,--output", options.output, "Write the dump to this file")
        ->check(notEmpty)
        ->type_name("DUMP");
}

void noOptions(CLI::App &, Options &) {}

/// Shows the form of the arguments, which the parser leaves alone.
class Formatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App *app, std::string) const override {
        const auto verb = std::find_if(verbs().begin(), verbs().end(), [&](const Verb &each) {
            return each.name == app->get_name();
        });
        if (verb == verbs().end())
            return "Usage: registerctl [--app ORG/APP | --user DIR --global DIR | -f FILE]\n"
                   "                   [--scope user|global] VERB [OPTIONS] ...\n";
        return "Usage: registerctl ... " + std::string(verb->name) + " " + verb->form + "\n";
    }
    std::string make_option_opts(const CLI::Option *option) const override {
        return option->get_type_size() == 0 ? "" : " " + option->get_type_name();
    }
    std::string make_footer(const CLI::App *app) const override {
        return "\n" + app->get_footer() + "\n";
    }
};

} // namespace

const std::vector<Verb> &verbs() {
    static const std::vector<Verb> all = {
        {"get", "[--default VALUE] [--type TYPE] [-z|--literal|--json] NAME", "Print a value",
         "registerctl --app acme/editor get ui/theme\n"
         "registerctl --app acme/editor get --default 800 ui/window/width",
         get, getOptions},
        {"set", "[--type TYPE|--literal] [--force] NAME VALUE...", "Write a value",
         "registerctl --app acme/editor set --type string ui/theme dark\n"
         "registerctl --app acme/editor set --type ints ui/columns 80 -1 120\n"
         "registerctl --app acme/editor set ui/theme light",
         set, setOptions},
        {"unset", "[-r] [--strict] [--force] NAME...", "Remove properties and groups",
         "registerctl --app acme/editor unset ui/theme\n"
         "registerctl --app acme/editor unset -r ui",
         unset, unsetOptions},
        {"list", "[-l] [--names] [-z|--json] [PREFIX]", "Print the properties of a group",
         "registerctl --app acme/editor list ui\n"
         "registerctl --app acme/editor list --json",
         list, listOptions},
        {"tree", "[PREFIX]", "Draw the properties of a group as a tree",
         "registerctl --app acme/editor tree", tree, noOptions},
        {"type", "NAME", "Print the type of a property",
         "registerctl --app acme/editor type ui/theme", type, noOptions},
        {"explain", "NAME", "Print where a value comes from, and what it hides",
         "registerctl --app acme/editor explain ui/theme", explain, noOptions},
        {"dump", "[PREFIX]", "Print a whole file as text",
         "registerctl --app acme/editor dump >settings.dump", dump, noOptions},
        {"load", "[--replace] [-n] [--force] [PREFIX] <DUMP", "Write what a dump holds",
         "registerctl --app acme/editor load <settings.dump\n"
         "registerctl --app acme/editor load --replace -n ui <settings.dump",
         load, loadOptions},
        {"compile", "-o FILE [--force] <DUMP", "Make a global file of a dump, at install time",
         "registerctl compile -o Brevolant.dat <defaults.dump", compile, compileOptions},
        {"import", "--from FORMAT [--strings] [-n] [--force] FILE [PREFIX]",
         "Take over the settings of another store",
         "registerctl --app acme/editor import --from qsettings editor.ini\n"
         "gsettings list-recursively org.acme | registerctl --app acme/editor import --from "
         "gsettings -",
         import, importOptions, true},
        {"diff", "A B", "Compare two of user, global, register files and dumps",
         "registerctl --app acme/editor diff global user\n"
         "registerctl diff old.dump Brevolant.dat",
         diff, noOptions},
        {"check", "FILE...", "Print what is wrong with files; nothing for good ones",
         "registerctl check Brevolant.dat", check, noOptions},
        {"salvage", "FILE [-o DUMP]", "Print what can still be read of a damaged file",
         "registerctl salvage Brevolant.dat.damaged -o rescued.dump", salvage, salvageOptions,
         true},
        {"watch", "[PREFIX]", "Print each change that reaches the file, until interrupted",
         "registerctl --app acme/editor watch ui", watch, noOptions},
        {"edit", "[--force] [PREFIX]", "Edit the dump in $VISUAL or $EDITOR",
         "registerctl --app acme/editor edit ui", edit, addForce},
    };
    return all;
}

CommandLine::CommandLine(Options &options)
    : _options(options), _app("Reads, writes and repairs the settings of applications.") {
    _app.name("registerctl");
    _app.formatter(std::make_shared<Formatter>());
    _app.set_help_flag("-h,--help", "Print this help");
    _app.set_version_flag("--version", "registerctl " REGISTERCTL_VERSION, "Print the version");
    Selection &selection = options.selection;
    auto *app = _app.add_option("--app", selection.app, "The application, in its standard places");
    auto *user = _app.add_option("--user", selection.user, "The directory of the user's file");
    auto *global =
        _app.add_option("--global", selection.global, "The directory of the global file");
    auto *file = _app.add_option("-f,--file", selection.file, "A register file alone");
    app->type_name("ORG/APP")->check(notEmpty);
    user->type_name("DIR")->check(notEmpty);
    global->type_name("DIR")->check(notEmpty);
    file->type_name("FILE")->check(notEmpty);
    auto *scope = _app.add_option("--scope", selection.scope, "Read and write this scope only")
                      ->check(CLI::IsMember({"user", "global"}))
                      ->type_name("SCOPE");
    app->excludes(user)->excludes(global)->excludes(file);
    file->excludes(user)->excludes(global)->excludes(scope);
    _app.require_subcommand(1);
    _app.footer(
        "Reads look into the user's file, then into the global one. Writes go to the user's "
        "file,\nunless --scope global or -f is given. Without these options, "
        "REGISTER_USER_DIR and\nREGISTER_GLOBAL_DIR name the directories.\n\n"
        "registerctl --app acme/editor set --type int ui/width 800\n"
        "registerctl --app acme/editor get ui/width\n"
        "registerctl --app acme/editor list\n\n"
        "registerctl VERB --help explains a verb; registerctl(1) is the manual.");
    for (const Verb &verb : verbs()) {
        CLI::App *sub = _app.add_subcommand(verb.name, verb.what);
        if (verb.takesFiles)
            sub->allow_extras();
        else
            sub->prefix_command();
        sub->footer(std::string("Examples:\n") + verb.examples);
        verb.addOptions(*sub, options);
    }
}

const Verb &CommandLine::parse(int count, char **arguments) {
    // The parser would take what follows "--" for arguments of the program, not of the verb.
    char **const end = arguments + count;
    char **const split = std::find(arguments, end, std::string("--"));
    try {
        _app.parse(static_cast<int>(split - arguments), arguments);
    } catch (const CLI::RequiredError &) {
        if (!_app.get_subcommands().empty())
            throw;
        throw Failure(WrongUsage, "a VERB is missing or unknown; registerctl --help lists them");
    }
    const CLI::App *given = _app.get_subcommands().front();
    const auto verb = std::find_if(verbs().begin(), verbs().end(), [&](const Verb &each) {
        return each.name == given->get_name();
    });
    std::vector<std::string> &operands = _options.arguments;
    operands = given->remaining();
    const auto checked =
        verb->takesFiles || operands.empty() ? operands.end() : operands.begin() + 1;
    const auto option = std::find_if(operands.begin(), checked, [](const std::string &each) {
        return each.size() > 1 && each[0] == '-';
    });
    if (option != checked)
        throw Failure(WrongUsage, "unknown option " + *option + " of " + verb->name);
    // After a NAME, "--" is a value like all others.
    const bool isValue = !verb->takesFiles && !operands.empty();
    if (split != end)
        operands.insert(operands.end(), isValue ? split : split + 1, end);
    return *verb;
}

} // namespace registerctl
