// GKeyFile of GLib.
#include "../Workload.h"

#include <glib.h>

namespace {

struct KeyFile : bench::FileStore {
    struct Key {
        std::string group, leaf;
    };
    static Key key(const std::string &name) {
        const std::size_t slash = name.rfind('/');
        return {name.substr(0, slash), name.substr(slash + 1)};
    }
    explicit KeyFile(const std::string &directory) : _path(directory + "/settings.ini") {
        g_key_file_load_from_file(_file, _path.c_str(), G_KEY_FILE_NONE, nullptr);
    }

    int read(const Key &key) {
        return g_key_file_get_integer(_file, key.group.c_str(), key.leaf.c_str(), nullptr);
    }
    void write(const Key &key, int value) {
        g_key_file_set_integer(_file, key.group.c_str(), key.leaf.c_str(), value);
    }
    std::string readText(const Key &key) {
        char *found = g_key_file_get_string(_file, key.group.c_str(), key.leaf.c_str(), nullptr);
        const std::string text = found ? found : "";
        g_free(found);
        return text;
    }
    void writeText(const Key &key, const std::string &text) {
        g_key_file_set_string(_file, key.group.c_str(), key.leaf.c_str(), text.c_str());
    }
    void save() { bench::require(g_key_file_save_to_file(_file, _path.c_str(), nullptr), "save"); }

private:
    std::string _path;
    GKeyFile *_file = g_key_file_new();
};

} // namespace

int main(int count, char **arguments) {
    bench::runWorkload<KeyFile>(count, arguments);
}
