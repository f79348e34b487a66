#pragma once

#include <register/RegisterFile.h>

#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace registerEditor {

/// Shows what is wrong with a file, and replaces it as the user chooses.
class DamagePage : public QWidget {
    Q_OBJECT

public:
    DamagePage();

    void showFault(const utils::properties::RegisterFileError &error);

signals:
    /// The file may be readable now.
    void tryAgain();

private:
    void useContentOf(const std::string &path);
    void replaceFile(utils::properties::RegisterFile file);

    QLabel *_damage;
    QPlainTextEdit *_faults;
    QPushButton *_salvage, *_previous;
    std::string _path;
};

} // namespace registerEditor
