#include "CommandLine.h"
#include "Dump.h"
#include "Import.h"
#include "Literal.h"

#include <algorithm>
#include <iostream>
#include <set>

namespace registerctl {

namespace {

/// The words of a command line after "registerctl"; the last one is to be completed.
class Completion {
public:
    explicit Completion(std::vector<std::string> words)
        : _words(std::move(words)), _line(_options) {
        if (_words.empty())
            _words.emplace_back();
        findVerb();
    }

    void print() {
        add();
        for (const std::string &candidate : _candidates)
            std::cout << candidate << '\n';
    }

private:
    const std::string &last() const { return _words.back(); }
    CLI::App &parser() { return _verb ? *_verb : _line.app(); }

    /// True when the word after `option` is its value.
    static bool takesValue(CLI::App &parser, const std::string &option) {
        const CLI::Option *found = parser.get_option_no_throw(option);
        return found && found->get_items_expected() > 0;
    }

    static bool isVerb(const std::string &word) {
        return std::any_of(verbs().begin(), verbs().end(),
                           [&](const Verb &verb) { return verb.name == word; });
    }

    void findVerb() {
        for (std::size_t i = 0; i + 1 < _words.size(); ++i) {
            if (takesValue(_line.app(), _words[i]))
                ++i;
            else if (isVerb(_words[i])) {
                _verb = _line.app().get_subcommand(_words[i]);
                _verbAt = i;
                return;
            }
        }
    }

    void add() {
        const std::string before = _words.size() > 1 ? _words[_words.size() - 2] : "";
        if (takesValue(parser(), before))
            addValues(before);
        else if (!last().empty() && last()[0] == '-')
            addOptions();
        else if (_verb)
            addNames();
        else
            for (const Verb &verb : verbs())
                offer(verb.name);
    }

    void offer(const std::string &candidate) {
        const bool isOneLine = candidate.find('\n') == candidate.npos;
        if (isOneLine && candidate.compare(0, last().size(), last()) == 0)
            _candidates.insert(candidate);
    }

    void addOptions() {
        for (const CLI::Option *option : parser().get_options())
            for (const std::string &name : option->get_lnames())
                offer("--" + name);
    }

    void addValues(const std::string &option) {
        if (option == "--scope")
            for (const char *scope : {"user", "global"})
                offer(scope);
        if (option == "--type")
            for (const std::string &type : typeNames())
                offer(type);
        if (option == "--from")
            for (const std::string &format : importFormats())
                offer(format);
    }

    /// Offers the next level of the names in the files, a group with a "/" at its end.
    void addNames() {
        const std::string verb = _verb->get_name();
        if (verb == "diff")
            for (const char *scope : {"user", "global"})
                offer(scope);
        if (verb == "check" || verb == "salvage" || verb == "compile" || verb == "import" ||
            verb == "diff")
            return;                                             // files, which the shell completes
        const std::size_t level = last().find_last_of('/') + 1; // 0 for none
        const std::string group = normalName(last().substr(0, level));
        for (const Layer &layer : layers())
            if (layer.file.groupExists(group))
                for (const auto &member : layer.file.propertyList(group))
                    offer(last().substr(0, level) + member.name.toStdString() +
                          (member.isDirectory ? "/" : ""));
    }

    /// The files that the options in front of the verb select.
    std::vector<Layer> layers() {
        std::vector<std::string> words(_words.rend() - static_cast<std::ptrdiff_t>(_verbAt) - 1,
                                       _words.rend());
        _line.app().parse(words); // takes them in reverse
        return Files(_options.selection).layers();
    }

    std::vector<std::string> _words;
    Options _options;
    CommandLine _line;
    CLI::App *_verb = nullptr;
    std::size_t _verbAt = 0;
    std::set<std::string> _candidates;
};

} // namespace

ExitCode complete(std::vector<std::string> words) {
    try {
        Completion(std::move(words)).print();
    } catch (const Failure &) { // no candidates where the files cannot be read
    } catch (const CLI::Error &) {
    }
    return Done;
}

} // namespace registerctl
