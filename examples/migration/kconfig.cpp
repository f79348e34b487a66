//! [before]
#include <KConfigGroup>
#include <KSharedConfig>

int loadWidth() {
    return KSharedConfig::openConfig("editorrc")->group("Window").readEntry("Width", 800);
}

void storeWidth(int width) {
    KConfigGroup window = KSharedConfig::openConfig("editorrc")->group("Window");
    window.writeEntry("Width", width);
    window.sync();
}
//! [before]
