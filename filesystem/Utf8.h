#pragma once

#include <QString>

#include <string>
#include <string_view>

namespace filesystem {

/// Converts UTF-8 to a `QString`, each invalid byte to U+FFFD. Unlike `QString::fromUtf8` it keeps
/// a byte order mark at the start, so that two names that differ only in this mark stay different.
inline QString toQString(std::string_view utf8) {
    const auto convert = [](std::string_view text) {
        return QString::fromUtf8(text.data(), static_cast<decltype(QString().size())>(text.size()));
    };
    if (utf8.substr(0, 3) != "\xEF\xBB\xBF")
        return convert(utf8);
    return convert("/" + std::string(utf8)).mid(1);
}

} // namespace filesystem
