#include "Dump.h"
#include "Literal.h"
#include "Verbs.h"

#include <algorithm>
#include <iostream>
#include <set>
#include <sstream>

namespace registerctl {

using utils::properties::PropertyBadType;

namespace {

[[noreturn]] void notThere(const std::vector<Layer> &layers, const std::string &name) {
    const char *const why = isGroup(layers, name) ? " is a group" : ": no such property";
    throw Failure(NotThere, nameToText(name) + why);
}

/// The value of a property, if it is one of the register's types.
std::optional<PropertyValue> valueOf(const Layer &layer, const std::string &name) {
    try {
        return layer.file.readAny(name);
    } catch (const PropertyBadType &) {
        return std::nullopt;
    }
}

std::string literalOf(const Layer &layer, const std::string &name) {
    return contentOf(layer.file, name).begin()->second;
}

/// The first layer whose property has a type, as an application sees it that reads that type.
const Layer *findTyped(const std::vector<Layer> &layers, const std::string &name,
                       const std::string &type) {
    for (const Layer &layer : layers) {
        const bool isProperty = layer.file.propertyExists(name) && !layer.file.groupExists(name);
        if (const auto value = isProperty ? valueOf(layer, name) : std::nullopt)
            if (typeName(*value) == type)
                return &layer;
    }
    return nullptr;
}

void print(const PropertyValue &value, const Options &options) {
    if (options.json) {
        std::cout << toJson(value) << '\n';
        return;
    }
    for (const std::string &text : bareTexts(value))
        std::cout << text << (options.nul ? '\0' : '\n');
}

/// Prints the default: as it stands, or in the form of a value.
void printDefault(const Options &options) {
    const std::string &text = *options.standIn;
    if (!options.literal && !options.json) {
        std::cout << text << (options.nul ? '\0' : '\n');
        return;
    }
    const PropertyValue value =
        options.type.empty() ? PropertyValue(text) : typedValue(options.type, {text});
    std::cout << (options.literal ? toLiteral(value) : toJson(value)) << '\n';
}

/// The names of all layers, each with the first layer that has the property, and its literal there.
using Merged = std::map<std::string, std::pair<const Layer *, std::string>>;

Merged merged(const std::vector<Layer> &layers, const std::string &prefix) {
    Merged all;
    for (const Layer &layer : layers)
        for (const auto &[name, literal] : contentOf(layer.file, prefix))
            if (!literal.empty())
                all.insert({name, {&layer, literal}});
    if (all.empty() && !prefix.empty() && !isGroup(layers, prefix))
        throw Failure(NotThere, nameToText(prefix) + ": no such property or group");
    return all;
}

std::string jsonOf(const Layer &layer, const std::string &name, const std::string &literal) {
    const auto value = valueOf(layer, name);
    const bool isRaw = !value || literal.compare(0, 3, "raw") == 0;
    return isRaw ? "{\"literal\":" + toJson(literal) + "}" : toJson(*value);
}

/// The type of a property as the first word of its long form.
std::string typeOf(const Layer &layer, const std::string &name) {
    const auto value = valueOf(layer, name);
    return value ? typeName(*value) : "raw";
}

/// Prints an object of names and values, or an array of names.
void printJson(const Merged &all, bool namesOnly) {
    const char *separator = "";
    std::cout << (namesOnly ? '[' : '{');
    for (const auto &[name, found] : all) {
        std::cout << separator << '\n' << toJson(name);
        if (!namesOnly)
            std::cout << ": " << jsonOf(*found.first, name, found.second);
        separator = ",";
    }
    std::cout << (all.empty() ? "" : "\n") << (namesOnly ? "]\n" : "}\n");
}

/// Collects the lines of a tree, then draws its branches.
class TreePrinter {
public:
    void add(const std::string &name, const std::string &literal) {
        const std::vector<std::string> levels = split(name);
        std::size_t same = 0;
        while (same + 1 < levels.size() && same < _open.size() && _open[same] == levels[same])
            ++same;
        _open.resize(same);
        for (; same + 1 < levels.size(); ++same) {
            _lines.push_back({same, nameToText(levels[same])});
            _open.push_back(levels[same]);
        }
        _lines.push_back({levels.size() - 1, nameToText(levels.back()) + " = " + literal});
    }

    /// Draws the branches from the last line upwards, where it is known which go on.
    void print() {
        std::vector<bool> goesOn;
        for (auto line = _lines.rbegin(); line != _lines.rend(); ++line) {
            std::string branches;
            goesOn.resize(line->depth + 1);
            for (std::size_t depth = 1; depth < line->depth; ++depth)
                branches += goesOn[depth] ? "│   " : "    ";
            if (line->depth > 0)
                branches += goesOn[line->depth] ? "├── " : "└── ";
            goesOn[line->depth] = true;
            line->text.insert(0, branches);
        }
        for (const Line &line : _lines)
            std::cout << line.text << '\n';
    }

private:
    struct Line {
        std::size_t depth;
        std::string text;
    };

    static std::vector<std::string> split(const std::string &name) {
        std::vector<std::string> levels;
        std::istringstream rest(name);
        for (std::string level; std::getline(rest, level, '/');)
            levels.push_back(level);
        return levels;
    }

    std::vector<Line> _lines;
    std::vector<std::string> _open; ///< the groups of the last line
};

} // namespace

std::string nameArgument(const Options &options, bool isOptional) {
    if (options.arguments.size() > 1)
        throw Failure(WrongUsage, "\"" + options.arguments[1] + "\" is one argument too many");
    if (options.arguments.empty() && !isOptional)
        throw Failure(WrongUsage, "a NAME is missing");
    if (options.arguments.empty())
        return {};
    return isOptional ? normalName(options.arguments[0]) : propertyName(options.arguments[0]);
}

std::string propertyName(const std::string &argument) {
    const std::string name = normalName(argument);
    if (name.empty())
        throw Failure(WrongUsage, "a NAME is empty");
    return name;
}

ExitCode get(const Options &options) {
    const std::string name = nameArgument(options);
    const std::vector<Layer> layers = Files(options.selection).layers();
    const Layer *layer =
        options.type.empty() ? findProperty(layers, name) : findTyped(layers, name, options.type);
    if (!layer && options.standIn) {
        printDefault(options);
        return Done;
    }
    if (!layer && findProperty(layers, name))
        throw Failure(WrongValue, nameToText(name) + " is not of the type " + options.type);
    if (!layer)
        notThere(layers, name);
    const std::string literal = literalOf(*layer, name);
    const auto value = valueOf(*layer, name);
    if (options.literal)
        std::cout << literal << '\n';
    else if (options.json)
        std::cout << jsonOf(*layer, name, literal) << '\n';
    else if (value)
        print(*value, options);
    else
        throw Failure(WrongValue, nameToText(name) + " holds bytes that are no value: use "
                                                     "--literal");
    return Done;
}

ExitCode list(const Options &options) {
    const std::vector<Layer> layers = Files(options.selection).layers();
    const auto all = merged(layers, nameArgument(options, true));
    if (options.json) {
        printJson(all, options.names);
        return Done;
    }
    for (const auto &[name, found] : all) {
        const auto &[layer, literal] = found;
        if (options.details)
            std::cout << typeOf(*layer, name) << '\t' << layer->scope << '\t';
        std::cout << (options.names && options.nul ? name : nameToText(name));
        if (!options.names)
            std::cout << " = " << literal;
        std::cout << (options.nul ? '\0' : '\n');
    }
    return Done;
}

ExitCode tree(const Options &options) {
    const std::vector<Layer> layers = Files(options.selection).layers();
    TreePrinter printer;
    for (const auto &[name, found] : merged(layers, nameArgument(options, true)))
        printer.add(name, found.second);
    printer.print();
    return Done;
}

ExitCode type(const Options &options) {
    const std::string name = nameArgument(options);
    const std::vector<Layer> layers = Files(options.selection).layers();
    const Layer *layer = findProperty(layers, name);
    if (!layer && !isGroup(layers, name))
        notThere(layers, name);
    std::cout << (layer ? typeOf(*layer, name) : "group") << '\n';
    return Done;
}

ExitCode explain(const Options &options) {
    const std::string name = nameArgument(options);
    const std::vector<Layer> layers = Files(options.selection).layers();
    const Layer *effective = findProperty(layers, name);
    if (!effective)
        notThere(layers, name);
    std::cout << nameToText(name) << " = " << literalOf(*effective, name) << '\n';
    for (const Layer &layer : layers) {
        std::cout << layer.scope << '\t' << layer.file.path() << '\t';
        if (layer.file.groupExists(name))
            std::cout << "a group";
        else if (layer.file.propertyExists(name))
            std::cout << literalOf(layer, name) << (&layer == effective ? "" : "\thidden");
        else
            std::cout << "nothing";
        std::cout << '\n';
    }
    return Done;
}

} // namespace registerctl
