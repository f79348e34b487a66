#include "register/TestRegister.h"

#include "register/Lifetime.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

namespace utils::properties {

namespace {

bool exists = false;

/// Sets an environment variable while it exists.
class Variable {
public:
    Variable(const char *name, const std::string &value) : _name(name) {
        if (const char *old = std::getenv(name))
            _old = old;
        ::setenv(name, value.c_str(), 1);
    }
    ~Variable() {
        if (_old)
            ::setenv(_name, _old->c_str(), 1);
        else
            ::unsetenv(_name);
    }
    Variable(const Variable &) = delete;
    Variable &operator=(const Variable &) = delete;

private:
    const char *_name;
    std::optional<std::string> _old;
};

std::string temporaryDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "register-test-XXXXXX").string();
    if (exists)
        throw Exception("There can be only one TestRegister at a time.");
    if (!::mkdtemp(path.data()))
        throw Exception(path +
                        ": creating the directory: " + std::generic_category().message(errno));
    exists = true;
    return path;
}

} // namespace

struct TestRegister::Files {
    const std::string directory = temporaryDirectory();
    const std::string global = directory + "/global", user = directory + "/user";
    const Variable globalVariable{"REGISTER_GLOBAL_DIR", global};
    const Variable userVariable{"REGISTER_USER_DIR", user};

    ~Files() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
        exists = false;
    }
};

TestRegister::TestRegister() : _files(std::make_unique<Files>()) {
    Lifetime::startAgain(_files->global, _files->user);
}

TestRegister::~TestRegister() {
    Lifetime::suspend();
}

const std::string &TestRegister::globalDirectory() const {
    return _files->global;
}

const std::string &TestRegister::userDirectory() const {
    return _files->user;
}

void TestRegister::restart() {
    _Register::getInstance().save();
    Lifetime::startAgain(_files->global, _files->user);
}

} // namespace utils::properties
