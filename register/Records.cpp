#include "register/Records.h"

#include <algorithm>
#include <charconv>

namespace utils::properties {

namespace {

/// True for the name of a record before the record `count`.
bool isBelow(const std::string &name, std::size_t count) {
    std::size_t index = 0;
    const char *end = name.data() + name.size();
    return std::from_chars(name.data(), end, index).ec == std::errc() && index < count &&
           name == std::to_string(index);
}

} // namespace

RecordGroups::RecordGroups(std::string name, RegisterScope scope)
    : _name(std::move(name)), _scope(scope) {}

std::optional<RegisterScope> RecordGroups::origin() const {
    for (const RegisterScope scope : lookupOrder)
        if (initializedRegister().groupExists(_name, scope))
            return scope;
    return std::nullopt;
}

bool RecordGroups::exists(std::size_t index, RegisterScope scope) const {
    return initializedRegister().groupExists(pathOf(index), scope);
}

std::string RecordGroups::pathOf(std::size_t index) const {
    return _name + "/" + std::to_string(index);
}

void RecordGroups::keepOnly(std::size_t count, const std::vector<std::string> &fields) const {
    _Register &reg = initializedRegister();
    reg.addGroup(_name, _scope);
    if (!reg.groupExists(_name, _scope))
        throw Exception(_name + " cannot be a group.");
    removeOthers(_name, [&](const filesystem::DirEntry &entry) {
        return isBelow(entry.name.toStdString(), count);
    });
    for (std::size_t i = 0; i < count; ++i)
        removeOthers(pathOf(i), [&](const filesystem::DirEntry &entry) {
            return std::find(fields.begin(), fields.end(), entry.name.toStdString()) !=
                   fields.end();
        });
}

void RecordGroups::removeOthers(
    const std::string &group,
    const std::function<bool(const filesystem::DirEntry &)> &isKept) const {
    _Register &reg = initializedRegister();
    for (const filesystem::DirEntry &entry : reg.propertyList(group, _scope))
        if (!isKept(entry))
            reg.removeGroup(nullptr, group + "/" + entry.name.toStdString(), _scope);
}

void RecordGroups::reset(void *sender) const {
    initializedRegister().removeGroup(sender, _name, _scope);
}

} // namespace utils::properties
