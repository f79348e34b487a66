#pragma once

#include "register/Register.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace utils::properties {

using SaveErrorHandler = std::function<void(const std::string &)>;

/// The result of a save, and the handler that it is reported to.
struct SaveResult {
    std::string error; ///< empty on success
    std::shared_ptr<const SaveErrorHandler> handler;

    /// Calls the handler if the save failed. Called without locks.
    void report() const;
};

/// The one register of the process, from its construction to the last save. The members are
/// guarded by the register's lock.
class Lifetime {
public:
    static _Register &instance();
    static bool hasStarted();
    /// True when nothing is saved or loaded: once the last save is under way, and between two
    /// tests.
    static bool hasEnded() { return _ended || _suspended; }
    /// Ends and frees the register where the library is unloaded; does nothing at exit.
    static void unload() noexcept;

    // For tests, which share the register of a process.

    /// Starts the register with other directories, as in a new process: empty, without callbacks,
    /// and then loaded from the files.
    static void startAgain(const std::string &globalPath, const std::string &userPath);
    /// Empties the register. Nothing is saved until it is started again.
    static void suspend() noexcept;

    /// The handler of all saves; null if there is none.
    static std::shared_ptr<const SaveErrorHandler> saveErrorHandler;
    static std::atomic<SaveMode> saveMode;

private:
    static void registerExitHandlers();
    static void empty();
    static void end(std::thread::id exiting) noexcept;

    static _Register *_instance;
    static std::atomic<bool> _ended;
    static std::atomic<bool> _suspended;
    static std::thread::id _exiting; ///< the thread that saved last, if it did so at exit
    static int _process;             ///< the one that constructed the register
};

} // namespace utils::properties
