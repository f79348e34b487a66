#pragma once

#include "Measure.h"

#include <filesystem>
#include <random>
#include <thread>

/// The workload of the comparison. Each store runs it in its own program, for two reasons: two
/// major versions of Qt (the register's and KConfig's) cannot share a process, and no store then
/// inherits the heap of another one. bench/compare.py runs the programs one after the other in each
/// round and compares what they report.
namespace bench {

/// A group has twenty properties.
inline std::string nameOf(int i, const char *leaf = "property") {
    char name[64];
    std::snprintf(name, sizeof name, "application/group%05d/%s%02d", i / 20, leaf, i % 20);
    return name;
}

inline int valueOf(int i, int generation) {
    return (i * 31 + generation * 7) % 1000000;
}

/// Returns ten characters: longer than every value of `valueOf`, in text and in binary.
inline std::string textOf(int i) {
    char text[32];
    std::snprintf(text, sizeof text, "text%06d", i);
    return text;
}

inline std::vector<int> shuffled(int count) {
    std::vector<int> order;
    for (int i = 0; i < count; ++i)
        order.push_back(i);
    std::shuffle(order.begin(), order.end(), std::mt19937(20));
    return order;
}

/// The defaults for most stores.
struct FileStore {
    static constexpr bool hasFile = true;
    static constexpr bool isThreadSafe = false;
    void discard() {} ///< ends the run without a save
};

/// A store has a type `Key` and `Key key(name)`, a constructor that loads the content of a
/// directory, `read`, `write`, `readText` and `writeText` by key, and `save`, which returns when
/// everything is on the disk.
template <class Store>
class Workload {
public:
    Workload(std::string directory, int count)
        : _directory(std::move(directory)), _order(shuffled(count)) {
        for (const int i : _order)
            _keys.push_back(Store::key(nameOf(i)));
    }

    /// Creates the file, with the values of generation 0.
    void fill() {
        open();
        create();
        _store->save();
    }

    /// Loads and checks the values of the previous generation, measures, and saves the values of
    /// this generation.
    void run(int generation) {
        load(generation - 1);
        long long sum = 0;
        for (const int i : _order)
            sum += valueOf(i, generation - 1);
        report("read", perStep(count(), [&] { readAll(sum); }));
        if constexpr (Store::isThreadSafe)
            report("threads", medianOf([&] { return readFromThreads(8); }));
        int value = 0;
        report("write", perStep(count(), [&] {
                   for (const Key &key : _keys)
                       _store->write(key, ++value);
               }));
        for (std::size_t at = 0; at < _keys.size(); ++at)
            _store->write(_keys[at], valueOf(_order[at], generation));
        check(generation);
        if constexpr (Store::hasFile)
            save(generation);
        grow();
    }

    /// Measures `sync`: with nothing to do, after one change of this process, and after one change
    /// of another process, whose new value is then read. Leaves the values as they are.
    void sync(int generation) {
        open();
        check(generation);
        _store->sync();
        report("sync-idle", medianOf([&] { // of a thousand calls, so in microseconds
                   return milliseconds([&] {
                       for (int i = 0; i < 1000; ++i)
                           _store->sync();
                   });
               }));
        int value = 1000000; // no generation has it
        report("sync-own", medianOf([&] {
                   _store->write(_keys[0], ++value);
                   return milliseconds([&] { _store->sync(); });
               }));
        report("sync-other", medianOf([&] {
                   changeElsewhere(++value);
                   int read = 0;
                   const double time = milliseconds([&] {
                       _store->sync();
                       read = _store->read(_keys[1]);
                   });
                   require(read == value, "a change of another process is missing");
                   return time;
               }));
        _store->write(_keys[0], valueOf(_order[0], generation));
        _store->write(_keys[1], valueOf(_order[1], generation));
        _store->sync();
    }

    /// Is the other process of `sync`.
    void change(int value) {
        open();
        _store->write(_keys[1], value);
        _store->sync();
    }

    void open() { _store = new Store(_directory); } // never destroyed, so that it does not save

    void check(int generation) {
        for (std::size_t at = 0; at < _keys.size(); ++at)
            require(_store->read(_keys[at]) == valueOf(_order[at], generation), "a wrong value");
    }

private:
    using Key = typename Store::Key;

    int count() const { return static_cast<int>(_order.size()); }

    void changeElsewhere(int value) {
        const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
        const std::string command = "'" + program + "' change '" + _directory + "' " +
                                    std::to_string(count()) + " " + std::to_string(value);
        require(std::system(command.c_str()) == 0, "the other process");
    }

    void create() {
        for (int i = 0; i < count(); ++i)
            _store->write(Store::key(nameOf(i)), valueOf(i, 0));
    }

    void load(int generation) {
        _heapBefore = heap();
        _residentBefore = memory("VmRSS:");
        const double loaded = milliseconds([&] {
            open();
            if constexpr (Store::hasFile)
                require(_store->read(_keys[0]) == valueOf(_order[0], generation), "a wrong value");
        });
        if constexpr (!Store::hasFile) {
            create();
            for (std::size_t at = 0; at < _keys.size(); ++at)
                _store->write(_keys[at], valueOf(_order[at], generation));
        }
        reportHeap("heap-loaded");
        report("peak-loaded", memory("VmHWM:") - _residentBefore);
        const double read = milliseconds([&] { check(generation); });
        reportHeap("heap-read");
        if constexpr (Store::hasFile) {
            report("load", loaded);
            report("load-all", loaded + read);
        }
    }

    void readAll(long long expected) {
        long long sum = 0;
        for (const Key &key : _keys)
            sum += _store->read(key);
        require(sum == expected, "a wrong sum");
    }

    /// Returns the million reads per second of all threads together. Each thread reads another part
    /// of the order.
    double readFromThreads(std::size_t threadCount) {
        const std::size_t steps = isCheck ? 1000 : 100000;
        std::vector<std::thread> threads;
        const double time = milliseconds([&] {
            for (std::size_t t = 0; t < threadCount; ++t)
                threads.emplace_back([this, steps, at = t * _keys.size() / threadCount]() mutable {
                    for (std::size_t i = 0; i < steps; ++i, at = (at + 1) % _keys.size())
                        require(_store->read(_keys[at]) >= 0, "a wrong value");
                });
            for (std::thread &thread : threads)
                thread.join();
        });
        return static_cast<double>(threadCount * steps) / time / 1000;
    }

    void save(int generation) {
        _store->save();
        int value = 0;
        const auto sample = [&] {
            _store->write(_keys[0], ++value);
            return milliseconds([&] { _store->save(); });
        };
        report("save", medianOf(sample));
        report("peak-saved", memory("VmHWM:") - _residentBefore);
        _store->write(_keys[0], valueOf(_order[0], generation));
        _store->save();
    }

    /// Overwrites all values with texts and does not save them.
    void grow() {
        for (std::size_t at = 0; at < _keys.size(); ++at)
            _store->writeText(_keys[at], textOf(_order[at]));
        reportHeap("heap-grown");
        for (std::size_t at = 0; at < _keys.size(); ++at)
            require(_store->readText(_keys[at]) == textOf(_order[at]), "a wrong text");
        if constexpr (Store::hasFile)
            _store->discard();
    }

    void reportHeap(const char *name) { report(name, (heap() - _heapBefore) / count()); }

    std::string _directory;
    std::vector<int> _order;
    std::vector<Key> _keys; ///< created in the order of the visits, so that caches help
    Store *_store = nullptr;
    double _heapBefore = 0;
    double _residentBefore = 0;
};

/// True for a store with `sync`, which saves and takes over what other processes have saved.
template <class Store, class = void>
constexpr bool hasSync = false;
template <class Store>
constexpr bool hasSync<Store, std::void_t<decltype(&Store::sync)>> = true;

/// `PROGRAM fill DIRECTORY COUNT`, `PROGRAM run|check DIRECTORY COUNT GENERATION`; where the store
/// has it, `PROGRAM sync DIRECTORY COUNT GENERATION` and `PROGRAM change DIRECTORY COUNT VALUE`.
/// The program ends without destroying the store, so that the store does not save.
template <class Store>
[[noreturn]] void runWorkload(int count, char **arguments) {
    require(count >= 4, "arguments");
    const std::string what = arguments[1];
    const int generation = count > 4 ? std::stoi(arguments[4]) : 0;
    static char output[4096]; // the library's own buffer would count as the store's heap
    std::setvbuf(stdout, output, _IOFBF, sizeof output);
    Workload<Store> workload(arguments[2], std::stoi(arguments[3]));
    if (what == "fill") {
        workload.fill();
    } else if (what == "run") {
        workload.run(generation);
    } else if (what == "check") {
        workload.open();
        workload.check(generation);
    } else if constexpr (hasSync<Store>) {
        if (what == "sync")
            workload.sync(generation);
        else
            workload.change(generation);
    } else {
        require(false, "arguments");
    }
    std::fflush(stdout);
    std::_Exit(0);
}

} // namespace bench
