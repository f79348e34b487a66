#pragma once

#include <QLabel>

namespace registerEditor {

/// A label for texts of any length, which the user can select.
class WrappedLabel : public QLabel {
public:
    WrappedLabel() {
        setWordWrap(true);
        setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    }
};

} // namespace registerEditor
