#pragma once

#include <register/QtTypes.h>
#include <register/Records.h>

/// The settings of the program, each declared once.
namespace settings {

using namespace utils::properties;

inline const Property<QString> greeting("window/greeting", "Hello");
inline const Property<QString> theme("window/theme", "light", OneOf("light", "dark", "system"));
inline const Property<int> fontSize("window/font-size", 12, Range(6, 48));
inline const Property<bool> showStatus("window/status-bar", true);
inline const Property<double> zoom("window/zoom", 1.0, Range(0.25, 4.0));
inline const Property<QByteArray> geometry("window/geometry");

struct RecentFile {
    QString path;
};
inline const Records<RecentFile> recentFiles("recent", {{"path", &RecentFile::path}});

} // namespace settings
