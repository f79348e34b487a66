#include "register/Saver.h"

#include "filesystem/RealFileSystem.h"
#include "filesystem/Utf8.h"
#include "register/Register.h"

#include <utility>

namespace utils::properties {

using filesystem::RealFileSystem;
using filesystem::toQString;

void Saver::write(std::uint64_t number, const std::string &directory, const std::string &bytes) {
    const std::lock_guard<std::mutex> writing(_writing);
    if (number < _newest && directory == _newestIn)
        return;
    _newestIn = directory;
    _newest = number;
    RealFileSystem disk(toQString(directory));
    disk.replace(toQString(_Register::_BV_REGISTER_NAME), bytes);
    setError(number, disk.error());
}

void Saver::setError(std::uint64_t number, std::string error) {
    const std::lock_guard<std::mutex> lock(_resultMutex);
    if (number < _resultNumber)
        return;
    _resultNumber = number;
    _error = std::move(error);
}

std::string Saver::error() const {
    const std::lock_guard<std::mutex> lock(_resultMutex);
    return _error;
}

} // namespace utils::properties
