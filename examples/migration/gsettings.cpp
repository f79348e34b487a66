//! [before]
#include <gio/gio.h>

int loadWidth(GSettings *settings) { // of the schema org.acme.editor.window
    return g_settings_get_int(settings, "width");
}

void storeWidth(GSettings *settings, int width) {
    g_settings_set_int(settings, "width", width);
}
//! [before]

int main() {
    return loadWidth != nullptr && storeWidth != nullptr ? 0 : 1;
}
