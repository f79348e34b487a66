#include "Literal.h"
#include "Verbs.h"

namespace registerctl {

using utils::properties::PropertyBadType;

namespace {

/// The type of the property that a read finds now. Throws `Failure` when there is none.
std::string presentType(const Files &files, const std::string &name) {
    const std::vector<Layer> layers = files.layers(false);
    std::string found;
    if (const Layer *layer = findProperty(layers, name)) {
        try {
            found = typeName(layer->file.readAny(name));
        } catch (const PropertyBadType &) {
        }
    }
    if (found.empty() || found == "none")
        throw Failure(WrongValue, nameToText(name) + " has no type yet: use --type TYPE");
    return found;
}

void removeName(RegisterFile &file, const std::string &name, const Options &options) {
    if (options.strict && !file.propertyExists(name))
        throw Failure(NotThere, nameToText(name) + ": no such property or group");
    if (file.groupExists(name) && !options.recursive)
        throw Failure(WrongValue, nameToText(name) + " is a group: use -r to remove it");
    file.delProperty(name);
}

} // namespace

ExitCode set(const Options &options) {
    if (options.arguments.empty())
        throw Failure(WrongUsage, "a NAME is missing");
    const std::string name = propertyName(options.arguments[0]);
    const std::vector<std::string> texts(options.arguments.begin() + 1, options.arguments.end());
    const Files files(options.selection);
    RegisterFile file = files.openTarget();
    if (file.groupExists(name))
        throw Failure(WrongValue, nameToText(name) + " is a group");
    if (options.literal) {
        if (texts.size() != 1)
            throw Failure(WrongUsage, "--literal takes one VALUE");
        writeLiteral(file, name, texts[0]);
    } else {
        const std::string type = options.type.empty() ? presentType(files, name) : options.type;
        writeValue(file, name, typedValue(type, texts));
    }
    files.save(file);
    return Done;
}

ExitCode unset(const Options &options) {
    if (options.arguments.empty())
        throw Failure(WrongUsage, "a NAME is missing");
    const Files files(options.selection);
    RegisterFile file = files.openTarget();
    bool isThere = false;
    for (const std::string &argument : options.arguments) {
        const std::string name = propertyName(argument);
        isThere = isThere || file.propertyExists(name);
        removeName(file, name, options);
    }
    if (isThere)
        files.save(file);
    return Done;
}

} // namespace registerctl
