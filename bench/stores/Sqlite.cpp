// SQLite with its defaults: one table, prepared statements. Reads and writes share one transaction,
// which a save commits.
#include "../Workload.h"

#include <sqlite3.h>

namespace {

struct Sqlite : bench::FileStore {
    using Key = std::string;
    static Key key(const std::string &name) { return name; }
    explicit Sqlite(const std::string &directory) {
        require(sqlite3_open((directory + "/settings.db").c_str(), &_base) == SQLITE_OK);
        execute("CREATE TABLE IF NOT EXISTS settings"
                "(name TEXT PRIMARY KEY, value) WITHOUT ROWID");
        _read = prepare("SELECT value FROM settings WHERE name = ?");
        _write = prepare("INSERT INTO settings VALUES(?, ?) "
                         "ON CONFLICT(name) DO UPDATE SET value = excluded.value");
        execute("BEGIN");
    }

    int read(const Key &key) {
        find(key);
        const int value = sqlite3_column_int(_read, 0);
        sqlite3_reset(_read);
        return value;
    }
    void write(const Key &key, int value) {
        sqlite3_bind_int(_write, 2, value);
        put(key);
    }
    std::string readText(const Key &key) {
        find(key);
        const void *bytes = sqlite3_column_blob(_read, 0);
        const std::string text(static_cast<const char *>(bytes),
                               static_cast<std::size_t>(sqlite3_column_bytes(_read, 0)));
        sqlite3_reset(_read);
        return text;
    }
    void writeText(const Key &key, const std::string &text) {
        sqlite3_bind_text(_write, 2, text.data(), static_cast<int>(text.size()), nullptr);
        put(key);
    }
    void discard() { execute("ROLLBACK"); } // otherwise the next run has to roll back
    void save() { execute("COMMIT; BEGIN"); }

private:
    void require(bool holds) { bench::require(holds, sqlite3_errmsg(_base)); }
    void execute(const char *statement) {
        require(sqlite3_exec(_base, statement, nullptr, nullptr, nullptr) == SQLITE_OK);
    }
    sqlite3_stmt *prepare(const char *text) {
        sqlite3_stmt *statement = nullptr;
        require(sqlite3_prepare_v2(_base, text, -1, &statement, nullptr) == SQLITE_OK);
        return statement;
    }
    void find(const Key &key) {
        sqlite3_bind_text(_read, 1, key.data(), static_cast<int>(key.size()), nullptr);
        require(sqlite3_step(_read) == SQLITE_ROW);
    }
    void put(const Key &key) {
        sqlite3_bind_text(_write, 1, key.data(), static_cast<int>(key.size()), nullptr);
        require(sqlite3_step(_write) == SQLITE_DONE);
        sqlite3_reset(_write);
    }
    sqlite3 *_base = nullptr;
    sqlite3_stmt *_read = nullptr;
    sqlite3_stmt *_write = nullptr;
};

} // namespace

int main(int count, char **arguments) {
    bench::runWorkload<Sqlite>(count, arguments);
}
