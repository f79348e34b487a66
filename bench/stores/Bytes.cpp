// The baseline for load and save: the bytes of the register's file, without interpreting them.
// `bench-bytes run DIRECTORY` reads the file there once and writes copies of it.
#include "../Workload.h"

#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using bench::require;

int main(int count, char **arguments) {
    require(count >= 3, "arguments");
    const std::string directory = arguments[2];
    const std::string file = directory + "/Brevolant.dat", beside = directory + "/beside";
    std::unique_ptr<char[]> bytes;
    std::size_t size = 0;

    bench::report("load", bench::milliseconds([&] {
                      const int handle = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
                      struct stat status = {};
                      require(handle >= 0 && ::fstat(handle, &status) == 0, "open");
                      size = static_cast<std::size_t>(status.st_size);
                      bytes.reset(new char[size]);
                      require(::read(handle, bytes.get(), size) == status.st_size, "read");
                      ::close(handle);
                  }));
    const auto write = [&] {
        const int handle = ::open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        require(handle >= 0, "create");
        require(::write(handle, bytes.get(), size) == static_cast<ssize_t>(size), "write");
        require(::fsync(handle) == 0 && ::close(handle) == 0, "fsync");
    };
    const auto replace = [&] {
        write();
        const int handle = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        require(::rename(beside.c_str(), file.c_str()) == 0, "rename");
        require(handle >= 0 && ::fsync(handle) == 0 && ::close(handle) == 0, "fsync");
    };
    bench::report("save", bench::medianOf([&] {
                      const double time = bench::milliseconds(write);
                      ::unlink(beside.c_str());
                      return time;
                  }));
    bench::report("replace", bench::medianOf([&] { return bench::milliseconds(replace); }));
    bench::report("size", static_cast<double>(size));
}
