#include "qt/LiveProperty.h"

namespace utils::properties {

LivePropertyBase::LivePropertyBase(const std::string &name, QObject *parent)
    : QObject(parent), _subscription(
                           AnySpelling{name}, [this](const std::string &) { post(); }, this) {}

LivePropertyBase::~LivePropertyBase() = default;

void LivePropertyBase::stop() {
    _subscription = Subscription();
}

/// Runs on the writer's thread, under the register's lock. One event is enough for all changes
/// until it is handled.
void LivePropertyBase::post() noexcept {
    if (_isPosted.exchange(true))
        return;
    try {
        QMetaObject::invokeMethod(
            this,
            [this] {
                _isPosted = false;
                refresh();
            },
            Qt::QueuedConnection);
    } catch (...) { // out of memory; the next change tries again
        _isPosted = false;
    }
}

} // namespace utils::properties
