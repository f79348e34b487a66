// Single operations of the register, through the shared library, with 10,000 properties three
// levels deep. bench/Workload.h compares stores.
#include <register/Property.h>

#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

using namespace utils::properties;

namespace {

constexpr int propertyCount = 10000;

_Register &reg() {
    return _Register::getInstance();
}

std::string nameOf(int i, const std::string &leaf = "property") {
    return "application/group" + std::to_string(i % 500) + "/" + leaf + std::to_string(i / 500);
}

/// The names of one scope: 500 groups of 20. The user scope has other properties in the same
/// groups.
const std::vector<std::string> &names(RegisterScope scope = UserScope) {
    static std::vector<std::string> all[3];
    std::vector<std::string> &made = all[scope];
    if (made.empty())
        for (int i = 0; i < propertyCount; ++i) {
            made.push_back(nameOf(i, "scope" + std::to_string(scope) + "-"));
            reg()._writeInteger(nullptr, made.back(), i, scope);
        }
    return made;
}

/// A step that is coprime to the count visits all names in an order that caches cannot predict.
std::size_t next(std::size_t at) {
    return (at + 7919) % propertyCount;
}

struct Silent : _Register::Callback {
    void propertyChanged(const std::string &) override {}
    void *owner() override { return this; }
};

/// Reads names that only one scope holds.
void readInteger(benchmark::State &state, RegisterScope scope) {
    names();
    const std::vector<std::string> &visited = names(scope);
    std::size_t at = 0;
    int value = 0;
    for (auto _ : state) {
        reg()._readInteger(visited[at = next(at)], value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK_CAPTURE(readInteger, user, UserScope);
BENCHMARK_CAPTURE(readInteger, global, GlobalScope);
BENCHMARK_CAPTURE(readInteger, temp, TempScope);
BENCHMARK_CAPTURE(readInteger, user, UserScope)->Threads(8)->UseRealTime();

/// A missing name, reported by an exception.
void readMissing(benchmark::State &state) {
    names();
    const std::string name = nameOf(5, "none");
    int value = 0;
    for (auto _ : state)
        try {
            reg()._readInteger(name, value);
        } catch (const PropertyNotFound &) {
        }
}
BENCHMARK(readMissing);

/// A missing name, replaced by a default.
void propertyDefault(benchmark::State &state) {
    names();
    const Property<int> property(nameOf(5, "none"), 7);
    for (auto _ : state)
        benchmark::DoNotOptimize(property.value());
}
BENCHMARK(propertyDefault);

void propertyValue(benchmark::State &state) {
    std::vector<Property<int>> properties;
    for (const std::string &name : names())
        properties.emplace_back(name);
    std::size_t at = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(properties[at = next(at)].value());
}
BENCHMARK(propertyValue);

/// The argument is the number of callbacks. All are under names that are not written.
void writeInteger(benchmark::State &state) {
    Silent silent;
    for (int i = 0; i < state.range(0); ++i)
        reg().addCallback(nameOf(i, "listened"), &silent);
    std::size_t at = 0;
    int value = 0;
    for (auto _ : state)
        reg()._writeInteger(nullptr, names()[at = next(at)], ++value, UserScope);
    reg().removeCallback(&silent);
}
BENCHMARK(writeInteger)->ArgName("callbacks")->Arg(0)->Arg(100000);

void writeIntegerAndTell(benchmark::State &state) {
    Silent silent;
    reg().addCallback("application", &silent);
    std::size_t at = 0;
    int value = 0;
    for (auto _ : state)
        reg()._writeInteger(nullptr, names()[at = next(at)], ++value, UserScope);
    reg().removeCallback(&silent);
}
BENCHMARK(writeIntegerAndTell);

void readString(benchmark::State &state) {
    const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
    reg()._writeString(nullptr, "text", text, TempScope);
    std::string value;
    for (auto _ : state) {
        reg()._readString("text", value);
        benchmark::DoNotOptimize(value.data());
    }
}
BENCHMARK(readString)->Arg(8)->Arg(1000);

void writeString(benchmark::State &state) {
    const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state)
        reg()._writeString(nullptr, "text", text, TempScope);
}
BENCHMARK(writeString)->Arg(8)->Arg(1000);

/// Returns a list of equal elements. The argument is their number.
template <class Value>
std::vector<Value> listOf(const benchmark::State &state, const Value &value) {
    return std::vector<Value>(static_cast<std::size_t>(state.range(0)), value);
}

template <class Value>
void readList(benchmark::State &state, const Value &value) {
    writeStored(reg(), nullptr, "list", listOf(state, value), TempScope);
    std::vector<Value> values;
    for (auto _ : state)
        benchmark::DoNotOptimize(reg().findValue("list", values, TempScope));
}

template <class Value>
void writeList(benchmark::State &state, const Value &value) {
    const std::vector<Value> values = listOf(state, value);
    for (auto _ : state)
        writeStored(reg(), nullptr, "list", values, TempScope);
}

constexpr int longest = 1000000;
BENCHMARK_CAPTURE(readList, integers, 5)->Arg(20)->Arg(1000)->Arg(longest);
BENCHMARK_CAPTURE(readList, booleans, true)->Arg(20)->Arg(1000);
BENCHMARK_CAPTURE(readList, strings, std::string("element"))->Arg(20)->Arg(1000);
BENCHMARK_CAPTURE(writeList, integers, 5)->Arg(20)->Arg(1000)->Arg(longest);
BENCHMARK_CAPTURE(writeList, booleans, true)->Arg(20)->Arg(1000);
BENCHMARK_CAPTURE(writeList, strings, std::string("element"))->Arg(20)->Arg(1000);

/// The baseline for the longest lists: copies the same bytes from one buffer to another.
void memcpyOfIntegers(benchmark::State &state) {
    const std::vector<int> from(longest, 5);
    std::vector<int> to;
    for (auto _ : state) {
        to.assign(from.begin(), from.end());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(memcpyOfIntegers);

void fillGroup(const std::string &group, std::int64_t count) {
    for (int i = 0; i < count; ++i)
        reg()._writeInteger(nullptr, group + "/member" + std::to_string(i), i, TempScope);
}

void propertyList(benchmark::State &state) {
    const std::string group = "group" + std::to_string(state.range(0));
    fillGroup(group, state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(reg().propertyList(group, TempScope).size());
}
BENCHMARK(propertyList)->Arg(20)->Arg(1000);

/// Deletes a group and its members. Creating them is not measured.
void deleteGroup(benchmark::State &state) {
    for (auto _ : state) {
        state.PauseTiming();
        fillGroup("large", state.range(0));
        state.ResumeTiming();
        reg().delProperty("large", TempScope);
    }
}
BENCHMARK(deleteGroup)->Arg(100000)->Iterations(5);

} // namespace

int main(int count, char **arguments) {
    const QTemporaryDir directory;
    _Register::initialize("", directory.path().toStdString());
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    _Register::_UserRegisterPath.clear(); // the save at exit then writes nothing
}
