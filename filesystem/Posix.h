#pragma once

#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/types.h>

/// The system calls that work on disk, each once. Whatever fails says why with `errno`.
namespace filesystem::posix {

/// Makes a system call again that a signal has interrupted, but not for ever.
template <class Call>
auto retryInterrupted(Call call) {
    constexpr int attempts = 100;
    auto result = call();
    for (int attempt = 1; result == -1 && errno == EINTR && attempt < attempts; ++attempt)
        result = call();
    return result;
}

/// An open file or directory, or none. Closes itself and keeps `errno` then, so that the reason of
/// a failure survives.
class Descriptor {
public:
    Descriptor() = default;
    /// Takes over what a system call has returned, -1 included.
    explicit Descriptor(int number) : _number(number) {}
    ~Descriptor();
    Descriptor(Descriptor &&other) noexcept : _number(std::exchange(other._number, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        Descriptor moved(std::move(other));
        std::swap(_number, moved._number);
        return *this;
    }

    explicit operator bool() const { return _number != -1; }
    int number() const { return _number; }
    /// Leaves the closing to the caller.
    void release() { _number = -1; }

private:
    int _number = -1;
};

/// While it exists, a request to cancel the thread waits. (Most calls here would be ended by one,
/// by an exception that must not leave a destructor and that no other step may swallow.)
class CancellationBlock {
public:
    CancellationBlock();
    ~CancellationBlock();
    CancellationBlock(const CancellationBlock &) = delete;
    CancellationBlock &operator=(const CancellationBlock &) = delete;

private:
    int _state = 0;
};

/// Opens a file or a directory for reading; `flags` are added to those that this needs. A relative
/// path starts at `directory`.
Descriptor openForReading(const std::string &path, int flags, int directory = AT_FDCWD);

/// Reads a whole file, which was opened with `O_NONBLOCK` (a pipe must not wait for a writer).
/// False also when it is not a regular one or is larger than `limit` (`EFBIG`).
bool readAll(const Descriptor &file, std::size_t limit, std::string &content);

bool writeAll(const Descriptor &file, std::string_view bytes);

/// Forces a file's content to the disk.
bool syncFile(const Descriptor &file);

/// Forces the names in a directory to the disk. Some file systems cannot do this, which is no
/// failure: there is nothing more to be done.
bool syncDirectory(const Descriptor &directory);

/// Takes the lock of a file, without waiting: `EWOULDBLOCK` when somebody else has it. It goes with
/// the descriptor, so also when its process is killed.
bool lock(const Descriptor &file);

/// Appends the names in a directory, without "." and "..", in no order. False when it cannot be
/// read to its end. A relative path starts at `directory`. (The iterator of the standard library
/// would do, but it ends the process when memory runs out.)
bool listDirectory(const std::string &path, std::vector<std::string> &names,
                   int directory = AT_FDCWD);

/// Creates a directory and its missing parents, all with this mode, whatever the umask says. Forces
/// the name of each to the disk, where the directory that holds it may be read.
bool makePath(const std::string &path, mode_t mode);

} // namespace filesystem::posix
