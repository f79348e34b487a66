#include "CommandLine.h"

#include <cstdio>
#include <exception>
#include <iostream>
#include <new>

using namespace registerctl;

namespace {

int run(int count, char **arguments) {
    Options options;
    CommandLine line(options);
    try {
        const int code = line.parse(count, arguments).run(options);
        if (!std::cout.flush())
            throw Failure(NotWritten, "standard output: cannot be written");
        return code;
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
        return run(count, arguments);
    } catch (const std::bad_alloc &) {
        warn("out of memory");
    } catch (const std::exception &error) { // a value or a file that is too large
        warn(error.what());
    }
    return NotWritten;
}
