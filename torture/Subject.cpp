// The register as a subject of the torture tests.
#include "Subject.h"

#include <exception/Exception.h>
#include <register/Register.h>

#include <cstdlib>
#include <new>

using namespace utils::properties;

namespace {

class RegisterStore : public Store {
public:
    std::string load(const std::string &directory) override {
        try {
            if (std::getenv("TORTURE_RECOVER"))
                _Register::initializeOrRecover("", directory);
            else
                _Register::initialize("", directory);
            return "";
        } catch (const utils::Exception &error) {
            return error.what();
        } catch (const std::bad_alloc &) {
            return "out of memory";
        }
    }
    std::string get(const std::string &key) override {
        std::string value;
        _Register::getInstance().findValue(key, value);
        return value;
    }
    void set(const std::string &key, const std::string &value) override {
        _Register::getInstance()._writeString(nullptr, key, value, UserScope);
    }
    std::string save() override {
        _Register::getInstance().save();
        return _Register::getInstance().saveError();
    }
};

} // namespace

int main(int count, char **arguments) {
    RegisterStore store;
    return runSubject(store, count, arguments);
}
