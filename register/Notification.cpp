#include "register/Callbacks.h"
#include "register/Lock.h"
#include "register/Register.h"

namespace utils::properties {

_Register::Callback::~Callback() = default;

void _Register::addCallback(const std::string &key, Callback *callback) {
    const Lock lock(*_mutex);
    if (!key.empty())
        _callbacks->add(key, callback);
}

void _Register::addCallbackForAll(Callback *callback) {
    const Lock lock(*_mutex);
    _callbacks->addForAll(callback);
}

void _Register::removeCallback(Callback *callback) {
    const Lock lock(*_mutex);
    _callbacks->remove(callback);
}

void _Register::markAsChanged(void *sender, const std::string &name) {
    const Lock lock(*_mutex);
    _changedProperties.insert(name);
    notify(sender);
}

void _Register::changeInOneStep(void *sender, const std::function<void()> &change) {
    const Lock lock(*_mutex);
    struct Step {
        int &steps;
        ~Step() { --steps; }
    };
    {
        const Step step{++_steps};
        change();
    }
    notify(sender);
}

void _Register::notify(void *sender) {
    const Lock lock(*_mutex);
    if (_steps > 0)
        return;
    // The names are moved out first, so that a callback that writes notifies only of its own
    // change.
    std::set<std::string> names;
    names.swap(_changedProperties);
    try {
        for (const std::string &name : names)
            _callbacks->notify(sender, name);
    } catch (...) {
        if (names.size() > _changedProperties.size())
            names.swap(_changedProperties); // merges the smaller set into the larger
        _changedProperties.merge(names);
        throw;
    }
}

RegisterLock::RegisterLock() {
    _Register::_mutex->lock();
}

RegisterLock::~RegisterLock() {
    _Register::_mutex->unlock();
}

} // namespace utils::properties
