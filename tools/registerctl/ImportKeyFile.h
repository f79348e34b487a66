#pragma once

#include <glib.h>

#include <functional>
#include <memory>
#include <string>

/// Key files of GLib.
namespace registerctl {

struct TextDeleter {
    void operator()(char *text) const { g_free(text); }
};
using Text = std::unique_ptr<char, TextDeleter>;

/// Throws `utils::Exception` with the message of an error, and frees it, unless it is null.
void checkGlib(GError *error);

/// Calls `visit` for each key of a key file, in the order of the file. Throws `utils::Exception`
/// with the number of the first line that is wrong.
void forEachKey(
    const std::string &text,
    const std::function<void(GKeyFile *file, const char *group, const char *key)> &visit);

} // namespace registerctl
