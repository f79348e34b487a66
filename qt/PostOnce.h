#pragma once

#include <QMetaObject>
#include <QObject>

#include <atomic>

namespace utils::properties {

/// Posts one call to the thread of an object, whatever happens until it runs. For callbacks of the
/// register, which run on the writer's thread under the register's lock.
class PostOnce {
public:
    /// Calls `function` of `object` later. Does nothing when a call waits already. If memory runs
    /// out, the next one tries again.
    template <class Object>
    void operator()(Object *object, void (Object::*function)()) noexcept {
        if (_isPosted.exchange(true))
            return;
        try {
            QMetaObject::invokeMethod(
                object,
                [this, object, function] {
                    _isPosted = false;
                    (object->*function)();
                },
                Qt::QueuedConnection);
        } catch (...) {
            _isPosted = false;
        }
    }

    /// True while a call waits.
    bool isPosted() const { return _isPosted; }

private:
    std::atomic<bool> _isPosted = false;
};

} // namespace utils::properties
