#include "register/Change.h"

#include "register/Callbacks.h"

namespace utils::properties {

Change::Change(_Register &reg, const std::string &name) : _register(reg) {
    if (!reg._changedProperties.empty() || reg._callbacks->hears(name))
        _mark.insert(name);
}

void Change::notify(void *sender) {
    if (_mark.empty())
        return;
    _register._changedProperties.merge(_mark);
    _register.notify(sender);
}

} // namespace utils::properties
