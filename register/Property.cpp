#include "register/Property.h"

#include <exception>

namespace utils::properties {

PropertyHandle::PropertyHandle(const std::string &name, filesystem::FileSystem::FileSystemMode mode,
                               RegisterScope scope)
    : _handle(&initializedRegister().openProperty(name, mode, scope)),
      _exceptions(std::uncaught_exceptions()) {}

PropertyHandle::PropertyHandle(PropertyHandle &&other) noexcept
    : _handle(std::exchange(other._handle, nullptr)), _exceptions(other._exceptions) {}

PropertyHandle &PropertyHandle::operator=(PropertyHandle &&other) noexcept {
    PropertyHandle moved(std::move(other));
    std::swap(_handle, moved._handle);
    std::swap(_exceptions, moved._exceptions);
    return *this;
}

PropertyHandle::~PropertyHandle() {
    if (std::uncaught_exceptions() > _exceptions) {
        delete _handle;
    } else if (_handle) {
        try {
            initializedRegister().closeProperty(*_handle);
        } catch (const std::exception &) { // out of memory: the bytes are dropped
        }
    }
}

} // namespace utils::properties
