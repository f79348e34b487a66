#include "ImportKeyFile.h"
#include "ImportSettings.h"

#include <exception/Exception.h>

namespace registerctl {

using utils::Exception;

namespace {

struct KeyFileDeleter {
    void operator()(GKeyFile *file) const { g_key_file_unref(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileDeleter>;

struct TextsDeleter {
    void operator()(char **texts) const { g_strfreev(texts); }
};
using Texts = std::unique_ptr<char *, TextsDeleter>;

/// Translations are settings of their own, "Name[de]".
KeyFile load(const std::string &text, GError **error) {
    KeyFile file(g_key_file_new());
    g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_KEEP_TRANSLATIONS,
                              error);
    return file;
}

bool isGood(const std::string &text) {
    GError *error = nullptr;
    load(text, &error);
    const bool good = !error;
    g_clear_error(&error);
    return good;
}

/// GLib writes a ";" after each element of a list, and "\;" for one in an element. "\;" is wrong in
/// a string.
bool isList(const std::string &value) {
    return (!value.empty() && value.back() == ';') || value.find("\\;") != value.npos;
}

std::vector<std::string> textsOf(GKeyFile *file, const char *group, const char *key) {
    GError *error = nullptr;
    gsize count = 0;
    const Texts texts(g_key_file_get_string_list(file, group, key, &count, &error));
    checkGlib(error);
    return {texts.get(), texts.get() + count};
}

std::string textOf(GKeyFile *file, const char *group, const char *key) {
    GError *error = nullptr;
    const Text text(g_key_file_get_string(file, group, key, &error));
    checkGlib(error);
    return text.get();
}

} // namespace

void checkGlib(GError *error) {
    if (!error)
        return;
    const std::string message = error->message;
    g_error_free(error);
    throw Exception(message);
}

void forEachKey(
    const std::string &text,
    const std::function<void(GKeyFile *file, const char *group, const char *key)> &visit) {
    GError *error = nullptr;
    const KeyFile file = load(text, &error);
    try {
        checkGlib(error);
    } catch (const Exception &wrong) {
        failAt(firstBadLine(text, isGood), wrong.what());
    }
    const Texts groups(g_key_file_get_groups(file.get(), nullptr));
    for (char **group = groups.get(); *group; ++group) {
        const Texts keys(g_key_file_get_keys(file.get(), *group, nullptr, nullptr));
        for (char **key = keys.get(); *key; ++key)
            visit(file.get(), *group, *key);
    }
}

void importKeyFile(const std::string &text, Settings &settings) {
    forEachKey(text, [&](GKeyFile *file, const char *group, const char *key) {
        settings.addConverted(std::string(group) + "/" + key, [&] {
            const Text value(g_key_file_get_value(file, group, key, nullptr));
            return isList(value.get()) ? settings.fromTexts(textsOf(file, group, key))
                                       : settings.fromText(textOf(file, group, key));
        });
    });
}

} // namespace registerctl
