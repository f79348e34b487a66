// KConfig of KDE Frameworks 5 (Qt 5), as one simple file.
#include "../../torture/Subject.h"

#include <KConfig>
#include <KConfigGroup>

#include <memory>

namespace {

class KConfigStore : public Store {
public:
    std::string load(const std::string &directory) override {
        _config = std::make_unique<KConfig>(QString::fromStdString(directory + "/settings.ini"),
                                            KConfig::SimpleConfig);
        return _config->accessMode() == KConfig::NoAccess ? "without access" : "";
    }
    std::string get(const std::string &key) override {
        return group(key).readEntry(leaf(key), QString()).toStdString();
    }
    void set(const std::string &key, const std::string &value) override {
        group(key).writeEntry(leaf(key), QString::fromStdString(value));
    }
    std::string save() override { return _config->sync() ? "" : "as sync says"; }

private:
    KConfigGroup group(const std::string &key) {
        return _config->group(QString::fromStdString(key.substr(0, key.find('/'))));
    }
    static QString leaf(const std::string &key) {
        return QString::fromStdString(key.substr(key.find('/') + 1));
    }
    std::unique_ptr<KConfig> _config;
};

} // namespace

int main(int count, char **arguments) {
    KConfigStore store;
    return runSubject(store, count, arguments);
}
