// LMDB with its defaults. Reads share one transaction. Writes share another until `save` commits
// it.
#include "../Workload.h"

#include <lmdb.h>

#include <cstring>

namespace {

struct Lmdb : bench::FileStore {
    using Key = std::string;
    static Key key(const std::string &name) { return name; }
    explicit Lmdb(const std::string &directory) {
        require(mdb_env_create(&_environment));
        require(mdb_env_set_mapsize(_environment, std::size_t(1) << 30));
        require(mdb_env_open(_environment, directory.c_str(), 0, 0600));
        begin(false);
        require(mdb_dbi_open(_transaction, nullptr, 0, &_values));
    }

    int read(const Key &key) {
        const std::string bytes = readText(key);
        int value = -1;
        std::memcpy(&value, bytes.data(), std::min(sizeof value, bytes.size()));
        return value;
    }
    void write(const Key &key, int value) {
        char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        put(key, bytes, sizeof bytes);
    }
    std::string readText(const Key &key) {
        MDB_val name = {key.size(), const_cast<char *>(key.data())}, found = {0, nullptr};
        require(mdb_get(_transaction, _values, &name, &found));
        return std::string(static_cast<const char *>(found.mv_data), found.mv_size);
    }
    void writeText(const Key &key, const std::string &text) { put(key, text.data(), text.size()); }
    void save() {
        require(mdb_txn_commit(_transaction));
        begin(false);
    }

private:
    static void require(int error) { bench::require(error == 0, mdb_strerror(error)); }
    void begin(bool writes) {
        require(mdb_txn_begin(_environment, nullptr, writes ? 0 : MDB_RDONLY, &_transaction));
        _writes = writes;
    }
    void put(const Key &key, const char *bytes, std::size_t size) {
        if (!_writes) {
            mdb_txn_abort(_transaction);
            begin(true);
        }
        MDB_val name = {key.size(), const_cast<char *>(key.data())};
        MDB_val value = {size, const_cast<char *>(bytes)};
        require(mdb_put(_transaction, _values, &name, &value, 0));
    }
    MDB_env *_environment = nullptr;
    MDB_txn *_transaction = nullptr;
    MDB_dbi _values = 0;
    bool _writes = false;
};

} // namespace

int main(int count, char **arguments) {
    bench::runWorkload<Lmdb>(count, arguments);
}
