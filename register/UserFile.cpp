#include "register/UserFile.h"

#include "register/Register.h"

#include <utility>

namespace utils::properties {

using filesystem::StoredFile;

/// What is known of a file does not hold for one in another directory.
StoredFile &UserFile::fileIn(const std::string &directory) {
    if (!_file || _file->directory() != directory) {
        _file.emplace(directory, _Register::_BV_REGISTER_NAME);
        _newest = 0;
    }
    return *_file;
}

UserFile::Result UserFile::read(const std::string &directory, std::string &content,
                                std::string &reason) {
    const std::lock_guard<std::mutex> writing(_writing);
    StoredFile &file = fileIn(directory);
    const Result result = file.read(content);
    reason = file.reason();
    return result;
}

void UserFile::accept() {
    const std::lock_guard<std::mutex> writing(_writing);
    _file->accept();
}

void UserFile::leaveAlone(const std::string &directory, const std::string &reason) {
    const std::lock_guard<std::mutex> writing(_writing);
    fileIn(directory).leaveAlone(reason);
}

std::string UserFile::write(std::uint64_t number, const std::string &directory,
                            const std::string &bytes) {
    const std::lock_guard<std::mutex> writing(_writing);
    StoredFile &file = fileIn(directory);
    if (number < _newest)
        return {};
    _newest = number;
    file.replace(bytes);
    setError(number, file.error());
    return file.error();
}

void UserFile::setError(std::uint64_t number, std::string error) {
    const std::lock_guard<std::mutex> lock(_resultMutex);
    if (number < _resultNumber)
        return;
    _resultNumber = number;
    _error = std::move(error);
}

std::string UserFile::error() const {
    const std::lock_guard<std::mutex> lock(_resultMutex);
    return _error;
}

} // namespace utils::properties
