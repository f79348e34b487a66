#pragma once

#include <QString>

#include <string>
#include <string_view>

namespace filesystem {

/// UTF-8 as a `QString`, each invalid byte as U+FFFD. Unlike `QString::fromUtf8` alone it keeps a
/// byte order mark at the start: two names that differ in one must not become the same.
inline QString toQString(std::string_view utf8) {
    const auto convert = [](std::string_view text) {
        return QString::fromUtf8(text.data(), static_cast<decltype(QString().size())>(text.size()));
    };
    if (utf8.substr(0, 3) != "\xEF\xBB\xBF")
        return convert(utf8);
    return convert("/" + std::string(utf8)).mid(1);
}

} // namespace filesystem
