#include "Dump.h"

#include "Failure.h"
#include "Literal.h"
#include "Progress.h"

#include <ostream>
#include <sstream>
#include <string_view>
#include <vector>

namespace registerctl {

using utils::properties::PropertyBadType;

namespace {

/// Values of the register's types have one stored form. Other bytes, also those that only read as a
/// value, are shown as they are.
std::string literalOf(const RegisterFile &file, const std::string &name, RegisterFile &scratch) {
    const std::string bytes = file.readBytes(name);
    try {
        const PropertyValue value = file.readAny(name);
        scratch.writeAny("value", value);
        if (scratch.readBytes("value") == bytes)
            return toLiteral(value);
    } catch (const PropertyBadType &) { // not even similar to a value
    }
    return rawLiteral(bytes);
}

std::string below(const std::string &group, const std::string &name) {
    return group.empty() ? name : group + "/" + name;
}

/// Takes a line off the front of a text.
std::string_view takeLine(std::string_view &rest) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

std::string_view trimmed(std::string_view line) {
    const std::size_t begin = std::min(line.find_first_not_of(" \t"), line.size());
    return line.substr(begin, line.find_last_not_of(" \t") + 1 - begin);
}

bool isBelow(const std::string &name, const std::string &prefix) {
    return prefix.empty() || name == prefix ||
           name.compare(0, prefix.size() + 1, prefix + "/") == 0;
}

void addGroup(RegisterFile &file, const std::string &name) {
    if (!file.groupExists(name))
        file.addGroup(name);
    if (!file.groupExists(name))
        throw Failure(WrongValue, nameToText(name) + " cannot be the name of a group here");
}

/// Reads the line of a property or an empty group.
void readLine(std::string_view line, RegisterFile &file, const std::string &prefix) {
    const std::string given = takeName(line);
    const std::string name = normalName(given);
    line = trimmed(line);
    if (!isBelow(name, prefix))
        throw Failure(WrongValue, nameToText(name) + " is not below " + nameToText(prefix));
    if (file.propertyExists(name) && !file.groupExists(name))
        throw Failure(WrongValue, nameToText(name) + " is given twice");
    if (!line.empty() && line.front() == '=')
        writeLiteral(file, name, trimmed(line.substr(1)));
    else if (line.empty() && !given.empty() && given.back() == '/')
        addGroup(file, name);
    else
        throw Failure(WrongValue, "\" = \" and a value must follow the name " + nameToText(name));
}

} // namespace

RegisterFile scratchFile() {
    return RegisterFile("/dev/null/scratch"); // nothing can ever be there
}

Content contentOf(const RegisterFile &file, const std::string &prefix) {
    Content content;
    RegisterFile scratch = scratchFile();
    std::vector<std::string> groups;
    if (file.groupExists(prefix))
        groups.push_back(prefix);
    else if (file.propertyExists(prefix))
        content[prefix] = literalOf(file, prefix, scratch);
    while (!groups.empty()) {
        const std::string group = std::move(groups.back());
        groups.pop_back();
        const auto members = file.propertyList(group);
        if (members.empty() && !group.empty())
            content[group + "/"];
        for (const auto &member : members) {
            std::string name = below(group, member.name.toStdString());
            if (member.isDirectory)
                groups.push_back(std::move(name));
            else
                content[name] = literalOf(file, name, scratch);
        }
    }
    return content;
}

std::string dumpLine(const Content::value_type &entry) {
    const std::string name = nameToText(entry.first);
    return entry.second.empty() ? name : name + " = " + entry.second;
}

void writeDump(std::ostream &out, const Content &content) {
    out << dumpHeader << '\n';
    for (const auto &entry : content)
        out << dumpLine(entry) << '\n';
}

void readDump(const std::string &text, RegisterFile &file, const std::string &prefix) {
    std::string_view rest = text;
    if (trimmed(takeLine(rest)) != dumpHeader)
        throw Failure(WrongValue, std::string("line 1: a dump begins with \"") + dumpHeader + "\"");
    Progress progress(text.size());
    for (std::size_t number = 2; !rest.empty(); ++number) {
        const std::string_view line = trimmed(takeLine(rest));
        progress.reached(text.size() - rest.size());
        if (line.empty() || line.front() == '#')
            continue;
        try {
            readLine(line, file, prefix);
        } catch (const Failure &failure) {
            throw Failure(WrongValue, "line " + std::to_string(number) + ": " + failure.what());
        }
    }
}

void copyContent(const Content &content, const RegisterFile &from, RegisterFile &to) {
    for (const auto &[name, literal] : content) {
        if (literal.empty()) {
            addGroup(to, normalName(name));
            continue;
        }
        try {
            to.writeBytes(name, from.readBytes(name));
        } catch (const utils::Exception &) {
            throw Failure(WrongValue, nameToText(name) +
                                          " cannot be a property there: it is a group, or a level "
                                          "above it is a property");
        }
    }
}

void writeContent(const Content &content, RegisterFile &file) {
    for (const auto &[name, literal] : content) {
        if (literal.empty())
            addGroup(file, normalName(name));
        else
            writeLiteral(file, name, literal);
    }
}

void removeContent(RegisterFile &file, const std::string &prefix) {
    if (!prefix.empty())
        return file.delProperty(prefix);
    for (const auto &member : file.propertyList(""))
        file.delProperty(member.name.toStdString());
}

std::vector<Difference> differences(const Content &before, const Content &after) {
    std::vector<Difference> found;
    auto old = before.begin(), next = after.begin();
    while (old != before.end() || next != after.end()) {
        const bool isGone =
            next == after.end() || (old != before.end() && old->first < next->first);
        const bool isNew = old == before.end() || (!isGone && next->first < old->first);
        if (isGone || isNew || old->second != next->second)
            found.push_back({isNew ? nullptr : &*old, isGone ? nullptr : &*next});
        if (!isNew)
            ++old;
        if (!isGone)
            ++next;
    }
    return found;
}

void writeDifferences(std::ostream &out, const std::vector<Difference> &differences) {
    for (const Difference &difference : differences) {
        if (difference.before)
            out << '-' << dumpLine(*difference.before) << '\n';
        if (difference.after)
            out << '+' << dumpLine(*difference.after) << '\n';
    }
}

} // namespace registerctl
