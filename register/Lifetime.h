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
    /// True once the last save is under way: nothing is saved or loaded any more.
    static bool hasEnded() { return _ended; }
    /// Ends and frees the register where the library is unloaded; does nothing at exit.
    static void unload() noexcept;

    /// The handler of all saves; null if there is none.
    static std::shared_ptr<const SaveErrorHandler> saveErrorHandler;
    static std::atomic<SaveMode> saveMode;

private:
    static void registerExitHandlers();
    static void end(std::thread::id exiting) noexcept;

    static _Register *_instance;
    static std::atomic<bool> _ended;
    static std::thread::id _exiting; ///< the thread that saved last, if it did so at exit
    static int _process;             ///< the one that constructed the register
};

} // namespace utils::properties
