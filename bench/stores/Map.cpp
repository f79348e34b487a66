// The baseline for reads and writes: a hash map of the names, under a lock of the register's type.
#include "../Workload.h"

#include <boost/thread/recursive_mutex.hpp>

#include <cstring>
#include <mutex>
#include <unordered_map>

namespace {

struct Map {
    using Key = std::string;
    static constexpr bool hasFile = false;
    static constexpr bool isThreadSafe = true;
    static Key key(const std::string &name) { return name; }
    explicit Map(const std::string &) {}

    int read(const Key &key) {
        const Lock lock(_mutex);
        const auto found = _values.find(key);
        int value = 0;
        bench::require(found != _values.end() && found->second[0] == 'I', "not found");
        std::memcpy(&value, found->second.data() + 1, sizeof value);
        return value;
    }
    void write(const Key &key, int value) {
        char bytes[1 + sizeof value] = {'I'};
        std::memcpy(bytes + 1, &value, sizeof value);
        const Lock lock(_mutex);
        _values[key].assign(bytes, sizeof bytes);
    }
    std::string readText(const Key &key) {
        const Lock lock(_mutex);
        return _values.at(key).substr(1);
    }
    void writeText(const Key &key, const std::string &text) {
        const Lock lock(_mutex);
        _values[key] = "S" + text;
    }
    void save() {}

private:
    using Lock = std::lock_guard<boost::recursive_mutex>;
    boost::recursive_mutex _mutex;
    std::unordered_map<std::string, std::string> _values;
};

} // namespace

int main(int count, char **arguments) {
    bench::runWorkload<Map>(count, arguments);
}
