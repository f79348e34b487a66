// KConfig of KDE Frameworks 5, as one simple file.
#include "../Workload.h"

#include <KConfig>
#include <KConfigGroup>

namespace {

struct Config : bench::FileStore {
    struct Key {
        QString group;
        std::string leaf; ///< the type that readEntry converts least
    };
    static Key key(const std::string &name) {
        const std::size_t slash = name.rfind('/');
        return {QString::fromStdString(name.substr(0, slash)), name.substr(slash + 1)};
    }
    explicit Config(const std::string &directory)
        : _config(QString::fromStdString(directory + "/settings.ini"), KConfig::SimpleConfig) {}

    int read(const Key &key) { return _config.group(key.group).readEntry(key.leaf.c_str(), -1); }
    void write(const Key &key, int value) {
        _config.group(key.group).writeEntry(key.leaf.c_str(), value);
    }
    std::string readText(const Key &key) {
        return _config.group(key.group).readEntry(key.leaf.c_str(), QString()).toStdString();
    }
    void writeText(const Key &key, const std::string &text) {
        _config.group(key.group).writeEntry(key.leaf.c_str(), QString::fromStdString(text));
    }
    void save() { bench::require(_config.sync(), "sync"); }

private:
    KConfig _config;
};

} // namespace

int main(int count, char **arguments) {
    bench::runWorkload<Config>(count, arguments);
}
