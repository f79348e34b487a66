// QSettings of Qt 6, in its INI format.
#include "../../torture/Subject.h"

#include <QSettings>
#include <QString>

#include <memory>

namespace {

class QSettingsStore : public Store {
public:
    std::string load(const std::string &directory) override {
        _settings = std::make_unique<QSettings>(QString::fromStdString(directory + "/settings.ini"),
                                                QSettings::IniFormat);
        return status();
    }
    std::string get(const std::string &key) override {
        return _settings->value(QString::fromStdString(key)).toString().toStdString();
    }
    void set(const std::string &key, const std::string &value) override {
        _settings->setValue(QString::fromStdString(key), QString::fromStdString(value));
    }
    std::string save() override {
        _settings->sync();
        return status();
    }

private:
    std::string status() const {
        return _settings->status() == QSettings::NoError ? "" : "with a status of QSettings";
    }
    std::unique_ptr<QSettings> _settings;
};

} // namespace

int main(int count, char **arguments) {
    QSettingsStore store;
    return runSubject(store, count, arguments);
}
