//! [before]
#include <gio/gio.h>

GSettings *window() {
    static GSettings *settings = g_settings_new("org.acme.editor.window");
    return settings;
}

int loadWidth() {
    return g_settings_get_int(window(), "width");
}

void storeWidth(int width) {
    g_settings_set_int(window(), "width", width);
    g_settings_sync();
}
//! [before]
