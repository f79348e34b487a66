#include "register/Subscription.h"

#include "filesystem/Path.h"

#include <atomic>
#include <utility>

namespace utils::properties {

_Register &initializedRegister() {
    // Not a local static, because its guard is a lock: a thread that waits for the register's lock
    // must not hold another one.
    static std::atomic<_Register *> known{nullptr};
    _Register *instance = known.load(std::memory_order_acquire);
    if (!instance) {
        if (_Register::_UserRegisterPath.empty())
            throw Exception("The register has not been initialized.");
        instance = &_Register::getInstance();
        known.store(instance, std::memory_order_release);
    }
    return *instance;
}

/// Each call keeps its own reference to the function, because the function may end its
/// subscription.
class Subscription::Receiver : public _Register::Callback {
public:
    Receiver(Function function, void *sender)
        : _function(std::make_shared<const Function>(std::move(function))),
          _owner(sender ? sender : this) {
        if (!*_function)
            throw Exception("A subscription needs a function.");
    }
    void propertyChanged(const std::string &name) override {
        const auto function = _function;
        (*function)(name);
    }
    void *owner() override { return _owner; }

private:
    std::shared_ptr<const Function> _function;
    void *_owner;
};

/// Passes on the names that a key covers, all in normal spelling.
class Subscription::NormalReceiver : public Receiver {
public:
    NormalReceiver(const std::string &key, Function function, void *sender)
        : Receiver(std::move(function), sender), _key(filesystem::Name(key).normal()) {}
    void propertyChanged(const std::string &name) override {
        const std::string normal = filesystem::Name(name).normal();
        if (normal.compare(0, _key.size(), _key) == 0 &&
            (_key.empty() || normal.size() == _key.size() || normal[_key.size()] == '/'))
            Receiver::propertyChanged(normal);
    }

private:
    const std::string _key;
};

Subscription::Subscription() = default;

Subscription::Subscription(const std::string &key, Function function, void *sender)
    : _receiver(std::make_unique<Receiver>(std::move(function), sender)) {
    initializedRegister().addCallback(key, _receiver.get());
}

Subscription::Subscription(AllNames, Function function, void *sender)
    : _receiver(std::make_unique<Receiver>(std::move(function), sender)) {
    initializedRegister().addCallbackForAll(_receiver.get());
}

Subscription::Subscription(const AnySpelling &key, Function function, void *sender)
    : _receiver(std::make_unique<NormalReceiver>(key.key, std::move(function), sender)) {
    initializedRegister().addCallbackForAll(_receiver.get());
}

Subscription::Subscription(Subscription &&other) noexcept = default;

Subscription &Subscription::operator=(Subscription &&other) noexcept {
    Subscription moved(std::move(other));
    std::swap(_receiver, moved._receiver);
    return *this;
}

Subscription::~Subscription() {
    if (_receiver)
        initializedRegister().removeCallback(_receiver.get());
}

} // namespace utils::properties
