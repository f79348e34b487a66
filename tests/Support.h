#pragma once

#include "register/Register.h"

#include <boost/thread/recursive_mutex.hpp>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <sstream>
#include <string>
#include <vector>

#include <stdlib.h>

namespace testing_support {

using utils::properties::_Register;
using utils::properties::PropertyBadType;
using utils::properties::PropertyNotFound;
using utils::properties::RegisterScope;
namespace fs = std::filesystem;

/// A directory. The destructor removes it with all its content.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = (fs::temp_directory_path() / "register-test-XXXXXX").string();
        _path = ::mkdtemp(name.data());
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        fs::remove_all(_path, ignored);
    }
    std::string operator/(const std::string &name) const { return _path + "/" + name; }
    const std::string &path() const { return _path; }

private:
    std::string _path;
};

inline std::string readFile(const std::string &path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

inline void writeFile(const std::string &path, const std::string &content) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

/// Returns the names in a directory, without the lock files, which stay.
inline std::vector<std::string> listDirectory(const std::string &path) {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(path))
        if (entry.path().extension() != ".lock")
            names.push_back(entry.path().filename().string());
    return names;
}

/// Returns the number of files that this process has open.
inline std::size_t openFiles() {
    return listDirectory("/proc/self/fd").size();
}

/// The data directories of this process. They outlive the register, because it saves at exit.
inline const TemporaryDirectory &dataDirectory() {
    static const TemporaryDirectory directory;
    return directory;
}
inline std::string globalDirectory() {
    return dataDirectory() / "global";
}
inline std::string userDirectory() {
    return dataDirectory() / "user";
}

/// Starts the register of this process and returns it. Each test case runs in its own process.
inline _Register &startedRegister() {
    _Register::initialize(globalDirectory(), userDirectory());
    return _Register::getInstance();
}

/// Returns the bytes of a property without the typed operations.
inline std::string rawBytes(_Register &reg, const std::string &path) {
    filesystem::FileHandle *handle = nullptr;
    if (!reg.open(QString::fromStdString(path), &handle, _Register::ReadMode))
        return "(none)";
    std::string bytes(handle->bytes());
    reg.close(handle);
    return bytes;
}

inline void setRawBytes(_Register &reg, const std::string &path, const std::string &bytes) {
    filesystem::FileHandle *handle = nullptr;
    ASSERT_TRUE(reg.open(QString::fromStdString(path), &handle, _Register::WriteMode));
    reg.write(handle, bytes.data(), static_cast<long>(bytes.size()));
    reg.close(handle);
}

/// Returns true when another thread can lock the register now.
inline bool lockIsFree() {
    return std::async(std::launch::async,
                      [] {
                          const bool free = _Register::_mutex->try_lock();
                          if (free)
                              _Register::_mutex->unlock();
                          return free;
                      })
        .get();
}

/// Returns the type or the text of the exception that `call` throws; "nothing" when it throws none.
inline std::string thrownBy(const std::function<void()> &call) {
    try {
        call();
    } catch (const PropertyNotFound &) {
        return "PropertyNotFound";
    } catch (const PropertyBadType &) {
        return "PropertyBadType";
    } catch (const utils::Exception &error) {
        return error.what();
    } catch (const std::exception &error) {
        return std::string("std: ") + error.what();
    }
    return "nothing";
}

/// A callback that appends "label:name" to a shared list and then runs an action.
class Recorder : public _Register::Callback {
public:
    Recorder(std::vector<std::string> &told, std::string label, void *party = nullptr,
             std::function<void(const std::string &)> action = {})
        : _told(told), _label(std::move(label)), _party(party), _action(std::move(action)) {}
    void propertyChanged(const std::string &name) override {
        _told.push_back(_label + ":" + name);
        if (_action)
            _action(name);
    }
    void *owner() override { return _party; }

private:
    std::vector<std::string> &_told;
    std::string _label;
    void *_party;
    std::function<void(const std::string &)> _action;
};

} // namespace testing_support
