#include "register/Group.h"

namespace utils::properties {

Group::Group(std::string name, RegisterScope scope) : _name(std::move(name)), _scope(scope) {}

std::set<std::string> Group::names() const {
    return members(false);
}

std::set<std::string> Group::groupNames() const {
    return members(true);
}

void Group::reset(void *sender) const {
    initializedRegister().removeGroup(sender, _name, _scope);
}

Subscription Group::subscribe(Subscription::Function function, void *sender) const {
    if (_name.empty())
        return Subscription(allNames, std::move(function), sender);
    return Subscription(_name, std::move(function), sender);
}

std::string Group::nameOf(const std::string &member) const {
    return _name.empty() ? member : _name + "/" + member;
}

std::set<std::string> Group::members(bool groups) const {
    const _Register &reg = initializedRegister();
    const RegisterLock lock;
    std::set<std::string> found;
    for (const RegisterScope scope : lookupOrder)
        if (reg.groupExists(_name, scope))
            for (const filesystem::DirEntry &entry : reg.propertyList(_name, scope))
                if (entry.isDirectory == groups)
                    found.insert(entry.name.toStdString());
    return found;
}

} // namespace utils::properties
