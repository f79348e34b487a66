#pragma once

#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/types.h>

/// The system calls that use the disk. A function that fails sets `errno`.
namespace filesystem::posix {

/// Repeats a system call that a signal interrupts, up to a limit.
template <class Call>
auto retryInterrupted(Call call) {
    constexpr int attempts = 100;
    auto result = call();
    for (int attempt = 1; result == -1 && errno == EINTR && attempt < attempts; ++attempt)
        result = call();
    return result;
}

/// The mode of directories that are created for one user.
constexpr mode_t privateDirectory = 0700;

/// True for an `errno` that says that nothing is at a path. Others may hide an existing file.
bool meansMissing(int reason);

/// An open file or directory, or none. The destructor closes it and preserves `errno`, which may
/// hold the reason of a failure.
class Descriptor {
public:
    Descriptor() = default;
    /// Takes ownership of the result of a system call; -1 is none.
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
    /// Gives up ownership: the caller closes the descriptor.
    void release() { _number = -1; }

private:
    int _number = -1;
};

/// Defers requests to cancel the thread while it exists. Most calls here are cancellation points,
/// and a cancellation throws, which would end the process inside a destructor.
class CancellationBlock {
public:
    CancellationBlock();
    ~CancellationBlock();
    CancellationBlock(const CancellationBlock &) = delete;
    CancellationBlock &operator=(const CancellationBlock &) = delete;

private:
    int _state = 0;
};

/// Opens a file or a directory for reading, with additional `flags`. A relative path starts at
/// `directory`.
Descriptor openForReading(const std::string &path, int flags, int directory = AT_FDCWD);

/// Reads a whole regular file, opened with `O_NONBLOCK`, so that opening a pipe does not wait for a
/// writer. Fails with `EFBIG` as soon as more than `limit` bytes come.
bool readAll(const Descriptor &file, std::size_t limit, std::string &content);

bool writeAll(const Descriptor &file, std::string_view bytes);

/// Forces a file's content to the disk.
bool syncFile(const Descriptor &file);

/// Forces the names in a directory to the disk. Succeeds also on file systems that cannot do this.
bool syncDirectory(const Descriptor &directory);

/// Locks a file without waiting; fails with `EWOULDBLOCK` when it is locked. Closing the descriptor
/// releases the lock, also when the process is killed.
bool lock(const Descriptor &file);

/// Appends the names in a directory, unsorted, without "." and "..". Returns false when it cannot
/// be read to its end. A relative path starts at `directory`. (The standard library's iterator ends
/// the process when memory runs out.)
bool listDirectory(const std::string &path, std::vector<std::string> &names,
                   int directory = AT_FDCWD);

/// Creates a directory and its missing parents, all with this mode, whatever the umask. Forces the
/// name of each to the disk if its parent directory can be read.
bool makePath(const std::string &path, mode_t mode);

} // namespace filesystem::posix
