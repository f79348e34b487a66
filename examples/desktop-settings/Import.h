#pragma once

#include <register/Register.h>

#include <istream>

/// Reads lines of the form "SCHEMA KEY VALUE", the value as GVariant text, and writes each as a
/// typed property into the user scope: "org.gnome.desktop.interface cursor-size 24" becomes the
/// integer "org/gnome/desktop/interface/cursor-size". Prints the number of properties of each type,
/// and every line that it cannot represent.
void importSettings(std::istream &settings, utils::properties::_Register &reg);
