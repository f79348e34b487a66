#pragma once

#include "register/Register.h"

#include <functional>
#include <memory>
#include <string>

namespace utils::properties {

/// Returns the register. Throws `utils::Exception` before `initialize`: a register constructed then
/// would know no directories, and would later overwrite files that it has never read.
REGISTER_EXPORT _Register &initializedRegister();

/// Stands for all names, in any spelling.
struct AllNames {};
/// Subscribes to all names: `Subscription(allNames, ...)`.
inline constexpr AllNames allNames;

/// A key that covers names in any spelling: "ui" covers "ui/width", "/ui//width" and "ui/width/".
/// The key itself may have any spelling; the empty key covers all names.
struct AnySpelling {
    std::string key; ///< the name of a property or a group
};

/// Calls a function for every change of a property, or of any property of a group, until it is
/// destroyed.
///
/// The function receives the name that changed. The rules for callbacks in `_Register` apply to it.
/// It may also create and end subscriptions, including its own. Its exceptions propagate to the
/// writer. A subscription that it creates sees the change in progress only if the notification has
/// not reached its key. A subscription that it ends does not see that change.
///
/// The function is not called for changes made with the subscription's `sender`. If `sender` is
/// null, it is called for all changes, including those without a sender. The constructors throw
/// `utils::Exception` for an empty function.
///
/// When the destructor has returned, the function is not running on any other thread and is not
/// called again. Therefore do not destroy a subscription while holding a lock that the function
/// takes. Notifying a subscription after the end of `main` is not supported.
class [[nodiscard]] REGISTER_EXPORT Subscription {
public:
    /// Receives the name that changed.
    using Function = std::function<void(const std::string &name)>;

    /// Subscribes to nothing.
    Subscription();
    /// `key` is the name of a property or of a group, spelt as the writers spell it: "ui" covers
    /// "ui/width", but "ui/" and "" do not. The function receives the writer's spelling.
    explicit Subscription(const std::string &key, Function function, void *sender = nullptr);
    /// Subscribes to all names. The function receives the writer's spelling.
    explicit Subscription(AllNames, Function function, void *sender = nullptr);
    /// The function receives the name in its normal spelling ("ui/width"). Each change of any name
    /// costs a comparison with the key.
    explicit Subscription(const AnySpelling &key, Function function, void *sender = nullptr);
    ///@{
    /// Moves the subscription; `other` subscribes to nothing afterwards.
    Subscription(Subscription &&other) noexcept;
    Subscription &operator=(Subscription &&other) noexcept;
    ///@}
    ~Subscription();

private:
    class Receiver;
    class NormalReceiver;
    std::unique_ptr<Receiver> _receiver;
};

} // namespace utils::properties
