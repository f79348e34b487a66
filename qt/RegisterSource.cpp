#include "qt/RegisterSource.h"

#include "register/Subscription.h"

#include <iterator>
#include <utility>

namespace utils::properties {

RegisterSource::~RegisterSource() = default;

namespace {

/// The write of each type of the register.
class Writer {
public:
    Writer(void *sender, const std::string &name, RegisterScope scope)
        : _sender(sender), _name(name), _scope(scope) {}

    void operator()(std::monostate) const { _register.resetProperty(_sender, _name, _scope); }
    void operator()(NoValue) const {
        const RegisterLock lock;
        _register.delProperty(_name, _scope);
        _register.addProperty(_name, _scope);
        _register.markAsChanged(_sender, _name);
    }
    void operator()(const std::string &value) const {
        _register._writeString(_sender, _name, value, _scope);
    }
    void operator()(double value) const { _register._writeNumber(_sender, _name, value, _scope); }
    void operator()(int value) const { _register._writeInteger(_sender, _name, value, _scope); }
    void operator()(bool value) const { _register._writeBoolean(_sender, _name, value, _scope); }
    void operator()(const std::vector<std::string> &values) const {
        _register._writeStrings(_sender, _name, values, _scope);
    }
    void operator()(const std::vector<double> &values) const {
        _register._writeNumbers(_sender, _name, values, _scope);
    }
    void operator()(const std::vector<int> &values) const {
        _register._writeIntegers(_sender, _name, values, _scope);
    }
    void operator()(const std::vector<bool> &values) const {
        _register._writeBooleans(_sender, _name, values, _scope);
    }

private:
    _Register &_register = initializedRegister();
    void *const _sender;
    const std::string &_name;
    const RegisterScope _scope;
};

class ProcessRegister : public RegisterSource {
public:
    std::vector<RegisterScope> scopes() const override {
        return {std::begin(lookupOrder), std::end(lookupOrder)};
    }

    std::vector<Member> members(const std::string &group, RegisterScope scope) const override {
        const RegisterLock lock;
        if (!_register.groupExists(group, scope))
            return {};
        std::vector<Member> members;
        for (const filesystem::DirEntry &entry : _register.propertyList(group, scope))
            members.push_back({entry.name.toStdString(), entry.isDirectory});
        return members;
    }

    bool isGroup(const std::string &name, RegisterScope scope) const override {
        return _register.groupExists(name, scope);
    }

    PropertyValue read(const std::string &name, RegisterScope scope) const override {
        try {
            return _register.readAny(name, scope);
        } catch (const PropertyBadType &) {
            return NoValue();
        }
    }

    bool isWritable(RegisterScope scope) const override { return scope != GlobalScope; }

    void write(const std::string &name, const PropertyValue &value, RegisterScope scope) override {
        std::visit(Writer(this, name, scope), value);
    }

    void setListener(std::function<void(const std::string &)> listener) override {
        _subscription = Subscription();
        if (listener)
            _subscription = Subscription(AnySpelling{""}, std::move(listener), this);
    }

private:
    _Register &_register = initializedRegister();
    Subscription _subscription;
};

} // namespace

std::unique_ptr<RegisterSource> processRegister() {
    return std::make_unique<ProcessRegister>();
}

} // namespace utils::properties
