#include "DamagePage.h"

#include "../registerctl/Dump.h"
#include "../registerctl/Files.h"
#include "WrappedLabel.h"

#include <QFile>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>

#include <sstream>

namespace registerEditor {

using utils::properties::FileFault;
using utils::properties::RegisterFile;
using utils::properties::RegisterFileError;

DamagePage::DamagePage()
    : _damage(new WrappedLabel(Qt::RichText)), _faults(new QPlainTextEdit),
      _salvage(new QPushButton(tr("Use What Can &Still Be Read"))),
      _previous(new QPushButton(tr("Use the &Previous Settings"))) {
    _faults->setReadOnly(true);
    auto *again = new QPushButton(tr("&Try Again"));
    connect(_salvage, &QPushButton::clicked, this, [this] { useContentOf(_path); });
    connect(_previous, &QPushButton::clicked, this, [this] { useContentOf(_path + ".previous"); });
    connect(again, &QPushButton::clicked, this, &DamagePage::tryAgain);
    auto *buttons = new QHBoxLayout;
    for (QPushButton *button : {_salvage, _previous, again})
        buttons->addWidget(button);
    buttons->addStretch();
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(_damage);
    layout->addWidget(_faults);
    layout->addLayout(buttons);
}

void DamagePage::showFault(const RegisterFileError &error) {
    _path = error.path();
    // A file that cannot even be opened may be intact.
    const bool isDamaged = registerctl::codeOf(error) == registerctl::Damaged;
    for (QPushButton *button : {_salvage, _previous})
        button->setVisible(isDamaged);
    const QString choice = tr("The file is not changed until you choose what to do. It is kept "
                              "beside the new one, as \"%1.damaged\".");
    const QString path = QString::fromStdString(error.path()).toHtmlEscaped();
    _damage->setText(QStringLiteral("<b>%1</b><br>%2<br><br>%3")
                         .arg(path, QString::fromStdString(error.reason()).toHtmlEscaped(),
                              isDamaged ? choice.arg(path) : QString()));
    std::vector<FileFault> faults;
    std::ostringstream text;
    try {
        const RegisterFile found = RegisterFile::salvage(error.path(), error.path(), faults);
        for (const FileFault &fault : faults)
            text << "# byte " << fault.offset << ": " << fault.what << '\n';
        registerctl::writeDump(text, registerctl::contentOf(found, {}));
    } catch (const RegisterFileError &hopeless) {
        text << hopeless.reason() << '\n';
    }
    _faults->setPlainText(QString::fromStdString(text.str()));
}

/// Renames the damaged file and saves another one in its place. If that fails, the damaged one is
/// back. Throws `RegisterFileError`.
void DamagePage::replaceFile(RegisterFile file) {
    const QString path = QString::fromStdString(_path);
    QString aside = path + QLatin1String(".damaged");
    for (int number = 2; QFile::exists(aside); ++number)
        aside = path + QStringLiteral(".damaged.%1").arg(number);
    if (!QFile::rename(path, aside))
        throw RegisterFileError("", _path, std::nullopt,
                                tr("The file cannot be renamed.").toStdString());
    try {
        file.save();
        QFile::setPermissions(path, QFile::permissions(aside)); // all users may read a global file
    } catch (const RegisterFileError &) {
        QFile::rename(aside, path);
        throw;
    }
}

/// Replaces the damaged file by what can be read in a file, which for another one is all of it.
void DamagePage::useContentOf(const std::string &path) {
    try {
        std::vector<FileFault> faults;
        RegisterFile found = RegisterFile::salvage(path, _path, faults);
        if (!faults.empty() && path != _path)
            throw RegisterFileError("", path, std::nullopt,
                                    tr("It is damaged, too.").toStdString());
        replaceFile(std::move(found));
    } catch (const RegisterFileError &error) {
        QMessageBox::critical(this, tr("Nothing Changed"),
                              QString::fromStdString(error.path() + ": " + error.reason()));
    }
    emit tryAgain();
}

} // namespace registerEditor
