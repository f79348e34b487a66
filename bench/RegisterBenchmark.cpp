// Reads and writes among 10,000 properties, three levels deep, through the shared library.
#include <register/Register.h>

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

using namespace utils::properties;

namespace {

constexpr int propertyCount = 10000;

/// The names, all of them written; 100 groups of 100.
const std::vector<std::string> &names() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> made;
        for (int i = 0; i < propertyCount; ++i) {
            made.push_back("application/group" + std::to_string(i % 100) + "/property" +
                           std::to_string(i));
            _Register::getInstance()._writeInteger(nullptr, made.back(), i, UserScope);
        }
        return made;
    }();
    return all;
}

/// A step that is coprime to the count visits all names in an order that caches do not foresee.
std::size_t next(std::size_t at) {
    return (at + 7919) % propertyCount;
}

struct Silent : _Register::Callback {
    void propertyChanged(const std::string &) override {}
    void *owner() override { return this; }
};

void readInteger(benchmark::State &state) {
    const _Register &reg = _Register::getInstance();
    std::size_t at = 0;
    int value = 0;
    for (auto _ : state) {
        reg._readInteger(names()[at = next(at)], value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(readInteger);

void readMissing(benchmark::State &state) {
    const _Register &reg = _Register::getInstance();
    names();
    const std::string name = "application/group5/none";
    for (auto _ : state)
        benchmark::DoNotOptimize(reg.propertyExists(name));
}
BENCHMARK(readMissing);

void writeInteger(benchmark::State &state) {
    _Register &reg = _Register::getInstance();
    Silent silent;
    if (state.range(0))
        reg.addCallback("application", &silent);
    std::size_t at = 0;
    int value = 0;
    for (auto _ : state)
        reg._writeInteger(nullptr, names()[at = next(at)], ++value, UserScope);
    reg.removeCallback(&silent);
}
BENCHMARK(writeInteger)->Arg(0)->Arg(1)->ArgName("callback");

void readString(benchmark::State &state) {
    _Register &reg = _Register::getInstance();
    const std::string name = "application/text";
    reg._writeString(nullptr, name, std::string(static_cast<std::size_t>(state.range(0)), 'x'),
                     UserScope);
    std::string value;
    for (auto _ : state) {
        reg._readString(name, value);
        benchmark::DoNotOptimize(value.data());
    }
}
BENCHMARK(readString)->Arg(8)->Arg(1000);

} // namespace

BENCHMARK_MAIN();
