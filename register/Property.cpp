#include "register/Property.h"

#include <atomic>
#include <exception>

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

Subscription::Subscription() = default;

Subscription::Subscription(const std::string &key, Function function, void *sender)
    : _receiver(std::make_unique<Receiver>(std::move(function), sender)) {
    initializedRegister().addCallback(key, _receiver.get());
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

PropertyHandle::PropertyHandle(const std::string &name, filesystem::FileSystem::FileSystemMode mode,
                               RegisterScope scope)
    : _handle(&initializedRegister().openProperty(name, mode, scope)),
      _exceptions(std::uncaught_exceptions()) {}

PropertyHandle::PropertyHandle(PropertyHandle &&other) noexcept
    : _handle(std::exchange(other._handle, nullptr)), _exceptions(other._exceptions) {}

PropertyHandle &PropertyHandle::operator=(PropertyHandle &&other) noexcept {
    PropertyHandle moved(std::move(other));
    std::swap(_handle, moved._handle);
    std::swap(_exceptions, moved._exceptions);
    return *this;
}

PropertyHandle::~PropertyHandle() {
    if (std::uncaught_exceptions() > _exceptions) {
        delete _handle;
    } else if (_handle) {
        try {
            initializedRegister().closeProperty(*_handle);
        } catch (const std::exception &) { // out of memory: the bytes are dropped
        }
    }
}

} // namespace utils::properties
