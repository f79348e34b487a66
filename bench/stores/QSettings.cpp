// QSettings of the Qt that the register uses, in its INI format.
#include "../Workload.h"

#include <QSettings>
#include <QString>

namespace {

struct Settings : bench::FileStore {
    using Key = QString;
    static Key key(const std::string &name) { return QString::fromStdString(name); }
    explicit Settings(const std::string &directory)
        : _settings(key(directory + "/settings.ini"), QSettings::IniFormat) {}

    int read(const Key &key) { return _settings.value(key).toInt(); }
    void write(const Key &key, int value) { _settings.setValue(key, value); }
    std::string readText(const Key &key) { return _settings.value(key).toString().toStdString(); }
    void writeText(const Key &key, const std::string &text) {
        _settings.setValue(key, QString::fromStdString(text));
    }
    void save() { sync(); }
    void sync() {
        _settings.sync();
        bench::require(_settings.status() == QSettings::NoError, "sync");
    }

private:
    QSettings _settings;
};

} // namespace

int main(int count, char **arguments) {
    bench::runWorkload<Settings>(count, arguments);
}
