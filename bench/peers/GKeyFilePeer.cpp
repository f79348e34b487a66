// GKeyFile of GLib.
#include "../../torture/Subject.h"

#include <glib.h>

namespace {

class GKeyFileStore : public Store {
public:
    std::string load(const std::string &directory) override {
        _path = directory + "/settings.ini";
        GError *error = nullptr;
        if (!g_key_file_load_from_file(_file, _path.c_str(), G_KEY_FILE_NONE, &error) &&
            !g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT))
            return message(error);
        g_clear_error(&error);
        return "";
    }
    std::string get(const std::string &key) override {
        char *found = g_key_file_get_string(_file, group(key).c_str(), leaf(key).c_str(), nullptr);
        const std::string value = found ? found : "";
        g_free(found);
        return value;
    }
    void set(const std::string &key, const std::string &value) override {
        g_key_file_set_string(_file, group(key).c_str(), leaf(key).c_str(), value.c_str());
    }
    std::string save() override {
        GError *error = nullptr;
        return g_key_file_save_to_file(_file, _path.c_str(), &error) ? "" : message(error);
    }

private:
    static std::string message(GError *error) {
        const std::string text = error->message;
        g_error_free(error);
        return text;
    }
    static std::string group(const std::string &key) { return key.substr(0, key.find('/')); }
    static std::string leaf(const std::string &key) { return key.substr(key.find('/') + 1); }
    GKeyFile *_file = g_key_file_new();
    std::string _path;
};

} // namespace

int main(int count, char **arguments) {
    GKeyFileStore store;
    return runSubject(store, count, arguments);
}
