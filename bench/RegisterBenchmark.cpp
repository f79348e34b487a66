// Reads and writes among 10,000 properties, three levels deep, through the shared library.
#include <register/Property.h>

#include <QSettings>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <cstring>
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

/// QSettings in the same task, from memory, after it has loaded its file.
QSettings &otherSettings() {
    static QSettings settings("/nonexistent/benchmark.ini", QSettings::IniFormat);
    if (settings.allKeys().isEmpty())
        for (std::size_t i = 0; i < names().size(); ++i)
            settings.setValue(QString::fromStdString(names()[i]), static_cast<int>(i));
    return settings;
}

void readIntegerOfQSettings(benchmark::State &state) {
    const QSettings &settings = otherSettings();
    std::vector<QString> keys;
    for (const std::string &name : names())
        keys.push_back(QString::fromStdString(name));
    std::size_t at = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(settings.value(keys[at = next(at)]).toInt());
}
BENCHMARK(readIntegerOfQSettings);

void writeIntegerOfQSettings(benchmark::State &state) {
    QSettings &settings = otherSettings();
    std::vector<QString> keys;
    for (const std::string &name : names())
        keys.push_back(QString::fromStdString(name));
    std::size_t at = 0;
    int value = 0;
    for (auto _ : state)
        settings.setValue(keys[at = next(at)], ++value);
}
BENCHMARK(writeIntegerOfQSettings);

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

/// The same through declared properties, to be compared with `readInteger`.
void propertyValue(benchmark::State &state) {
    std::vector<Property<int>> properties;
    for (const std::string &name : names())
        properties.emplace_back(name);
    std::size_t at = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(properties[at = next(at)].value());
}
BENCHMARK(propertyValue);

/// One property again and again, so that only the layers differ.
void readIntegerOfOne(benchmark::State &state) {
    const _Register &reg = _Register::getInstance();
    const std::string &name = names()[1234];
    int value = 0;
    for (auto _ : state) {
        reg._readInteger(name, value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(readIntegerOfOne);

void propertyValueOfOne(benchmark::State &state) {
    const Property<int> property(names()[1234]);
    for (auto _ : state)
        benchmark::DoNotOptimize(property.value());
}
BENCHMARK(propertyValueOfOne);

void propertyDefault(benchmark::State &state) {
    names();
    const Property<int> property("application/group5/none", 7);
    for (auto _ : state)
        benchmark::DoNotOptimize(property.value());
}
BENCHMARK(propertyDefault);

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

constexpr std::size_t listLength = 1000000;
constexpr auto listBytes = static_cast<std::int64_t>(listLength * sizeof(int));

void readIntegers(benchmark::State &state) {
    _Register &reg = _Register::getInstance();
    reg._writeIntegers(nullptr, "list", std::vector<int>(listLength, 5), TempScope);
    std::vector<int> values;
    for (auto _ : state) {
        reg._readIntegers("list", values);
        benchmark::DoNotOptimize(values.data());
    }
    state.SetBytesProcessed(state.iterations() * listBytes);
}
BENCHMARK(readIntegers);

void writeIntegers(benchmark::State &state) {
    _Register &reg = _Register::getInstance();
    const std::vector<int> values(listLength, 5);
    for (auto _ : state)
        reg._writeIntegers(nullptr, "list", values, TempScope);
    state.SetBytesProcessed(state.iterations() * listBytes);
}
BENCHMARK(writeIntegers);

/// The measure of the two above: the same bytes between two buffers, or into a new one each time.
void memcpyOfIntegers(benchmark::State &state) {
    const std::vector<char> from(listBytes, 5);
    std::string to;
    for (auto _ : state) {
        if (state.range(0))
            to = std::string();
        to.assign(from.data(), from.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * listBytes);
}
BENCHMARK(memcpyOfIntegers)->Arg(0)->Arg(1)->ArgName("allocate");

void readBooleans(benchmark::State &state) {
    _Register &reg = _Register::getInstance();
    reg._writeBooleans(nullptr, "list", std::vector<bool>(listLength, true), TempScope);
    std::vector<bool> values;
    for (auto _ : state)
        reg._readBooleans("list", values);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(listLength));
}
BENCHMARK(readBooleans);

} // namespace

int main(int count, char **arguments) {
    const QTemporaryDir directory;
    _Register::initialize("", directory.path().toStdString());
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    _Register::_UserRegisterPath.clear(); // nothing of this is to be kept
}
