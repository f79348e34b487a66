// The register as a subject of the torture tests.
#include "Subject.h"

#include <exception/Exception.h>
#include <register/Register.h>

#include <cstdio>
#include <cstdlib>
#include <new>

using namespace utils::properties;

namespace {

/// With TORTURE_FOREIGN in the environment, a save merges: it first gives the file of that name in
/// the directory the name of the register file, as another process does, and then calls `sync`.
class RegisterStore : public Store {
public:
    std::string load(const std::string &directory) override {
        _directory = directory;
        if (_foreign)
            _Register::setSaveMode(MergeIntoFile);
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
        _Register &reg = _Register::getInstance();
        if (_foreign) {
            std::rename((_directory + "/" + _foreign).c_str(),
                        (_directory + "/" + _Register::_BV_REGISTER_NAME).c_str());
            reg.sync(nullptr);
        } else {
            reg.save();
        }
        if (const std::string unlocked = reg.lockError(); !unlocked.empty())
            std::fprintf(stderr, "%s\n", unlocked.c_str());
        return reg.saveError();
    }

private:
    const char *_foreign = std::getenv("TORTURE_FOREIGN");
    std::string _directory;
};

} // namespace

int main(int count, char **arguments) {
    RegisterStore store;
    return runSubject(store, count, arguments);
}
