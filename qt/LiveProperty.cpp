#include "qt/LiveProperty.h"

namespace utils::properties {

LivePropertyBase::LivePropertyBase(const std::string &name, QObject *parent)
    : QObject(parent),
      _subscription(
          AnySpelling{name}, [this](const std::string &) { refreshLater(); }, this) {}

LivePropertyBase::~LivePropertyBase() = default;

void LivePropertyBase::stop() {
    _subscription = Subscription();
}

} // namespace utils::properties
