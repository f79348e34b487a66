#pragma once

#include "exception/Export.h"

#include <memory>
#include <string>

namespace utils::properties {

/// A register for one test of an application. A process has one register, so tests of one program
/// would see each other's settings. While this object exists, the register begins empty, with
/// directories of its own:
///
///     class SettingsTest : public testing::Test {
///         utils::properties::TestRegister _register;
///     };
///
/// The constructor starts the register if it has not been started. `standardDirectories` returns
/// the directories of the test. The destructor removes them, empties all scopes, drops all
/// callbacks and the handler of failed saves, and sets the save mode to `ReplaceFile`. From then
/// on, until the next object exists, saves do nothing, also the one at exit. Subscriptions may
/// outlive this object; they hear nothing any more.
///
/// One object at a time; a second one throws `utils::Exception`. Create and destroy it when no
/// other thread uses the register, and not inside a callback.
class REGISTER_EXPORT TestRegister {
public:
    /// Throws `utils::Exception` if the directories cannot be created.
    TestRegister();
    ~TestRegister();
    TestRegister(const TestRegister &) = delete;
    TestRegister &operator=(const TestRegister &) = delete;

    ///@{
    /// The directories of the two files; they are removed with this object.
    const std::string &globalDirectory() const;
    const std::string &userDirectory() const;
    ///@}

    /// Does what the end of a process and the next start do: saves, drops the callbacks, empties
    /// all scopes and loads the files. Throws what `_Register::initialize` throws.
    void restart();

private:
    struct Files;
    std::unique_ptr<Files> _files;
};

} // namespace utils::properties
