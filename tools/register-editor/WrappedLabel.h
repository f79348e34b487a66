#pragma once

#include <QLabel>

namespace registerEditor {

/// A label for texts of any length, which the user can select.
class WrappedLabel : public QLabel {
public:
    explicit WrappedLabel(Qt::TextFormat format = Qt::PlainText) {
        setTextFormat(format);
        setWordWrap(true);
        setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    }
};

} // namespace registerEditor
