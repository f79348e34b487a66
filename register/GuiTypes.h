#pragma once

#include "register/Storage.h"

#include <QColor>
#include <QFont>
#include <QKeySequence>

/// How types of Qt Gui are stored, as strings. A program that includes this header links Qt Gui
/// itself: the library does not. A stored value of another form counts as missing.
namespace utils::properties {

/// "#AARRGGBB", alpha first; a load accepts small letters, too. Each channel is kept in 8 bits, and
/// the color is kept as RGB, whatever its model was. An invalid color cannot be stored.
template <>
struct Storage<QColor> {
    using Stored = std::string;
    static std::optional<QColor> load(const Stored &stored) {
        const QString text = QString::fromStdString(stored);
        const QColor color(text);
        if (!color.isValid() || color.name(QColor::HexArgb).compare(text, Qt::CaseInsensitive) != 0)
            return std::nullopt;
        return color;
    }
    static Stored store(const QColor &color) {
        if (!color.isValid())
            throw Exception("it is not a valid color.");
        return color.name(QColor::HexArgb).toUpper().toStdString();
    }
};

/// The text of `QFont::toString`, and what that keeps of a font; of several families the first. Qt
/// 6 also loads the texts of Qt 5. A font whose family has no name or a comma in its name cannot be
/// stored. A default-constructed `QFont` has a family once a `QGuiApplication` exists.
template <>
struct Storage<QFont> {
    using Stored = std::string;
    static std::optional<QFont> load(const Stored &stored) {
        const QString text = QString::fromStdString(stored);
        QFont font;
        if (!hasNumbers(text.split(u',')) || !font.fromString(text))
            return std::nullopt;
        return font;
    }
    static Stored store(const QFont &font) {
        Stored stored = font.toString().toStdString();
        if (!load(stored))
            throw Exception("its family has no name or a comma in its name.");
        return stored;
    }

private:
    /// `QFont::fromString` reads fields that are not numbers as 0. Nine numbers follow the family.
    static bool hasNumbers(const QStringList &fields) {
        bool all = fields.size() >= 10;
        for (int i = 1; all && i < 10; ++i)
            fields[i].toDouble(&all);
        return all;
    }
};

/// The portable text, such as "Ctrl+S".
template <>
struct Storage<QKeySequence> {
    using Stored = std::string;
    static std::optional<QKeySequence> load(const Stored &stored) {
        const QKeySequence keys =
            QKeySequence::fromString(QString::fromStdString(stored), QKeySequence::PortableText);
        return store(keys) == stored ? std::optional(keys) : std::nullopt;
    }
    static Stored store(const QKeySequence &keys) {
        return keys.toString(QKeySequence::PortableText).toStdString();
    }
};

} // namespace utils::properties
