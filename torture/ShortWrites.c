// Preloaded: every write to a file takes at most seven bytes.
#include <sys/syscall.h>
#include <unistd.h>

ssize_t write(int file, const void *bytes, size_t length) {
    return syscall(SYS_write, file, bytes, file > 2 && length > 7 ? 7 : length);
}
