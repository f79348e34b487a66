#include "CommandLine.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <new>

using namespace registerctl;

namespace {

int run(int count, char **arguments) {
    if (count > 1 && arguments[1] == std::string("__complete"))
        return complete({arguments + 2, arguments + count});
    Options options;
    CommandLine line(options);
    try {
        return line.parse(count, arguments).run(options);
    } catch (const CLI::Success &help) { // --help and --version
        return line.app().exit(help);
    } catch (const CLI::ParseError &error) {
        warn(error.what());
        return WrongUsage;
    } catch (const Failure &failure) {
        warn(failure.what());
        return failure.code;
    }
}

} // namespace

int main(int count, char **arguments) {
    std::ios::sync_with_stdio(false);
    try {
        const int code = run(count, arguments);
        if (code == NotWritten || std::cout.flush())
            return code;
        warn("standard output: cannot be written");
    } catch (const std::filesystem::filesystem_error &error) { // as the working directory is gone
        warn(error.path1().string() + ": " + error.code().message());
        return NotReadable;
    } catch (const std::bad_alloc &) {
        warn("out of memory");
    } catch (const std::exception &error) { // a value or a file that is too large
        warn(error.what());
    }
    return NotWritten;
}
