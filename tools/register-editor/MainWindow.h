#pragma once

#include "FileSource.h"

#include <qt/PostOnce.h>
#include <qt/RegisterModel.h>

#include <QMainWindow>
#include <QUndoStack>

#include <memory>
#include <optional>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QStackedWidget;
class QTableWidget;
class QTreeView;

namespace registerEditor {

class FilterModel;

/// Shows and edits the files of one register. A file that is damaged is shown as such, with what
/// can be done about it, never as an empty register.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    /// `arguments` are the options of `registerctl` that name the register, for the commands that
    /// the user can copy.
    MainWindow(std::vector<FileSource::Path> paths, QStringList arguments);
    ~MainWindow() override;

private:
    // The window's parts; each creates its widgets and connects them.
    void createTree();
    void createDetails();
    void createDamagePage();
    void createActions();

    void open();
    void showDamage(const utils::properties::RegisterFileError &error);
    void salvageFile();
    void restorePrevious();
    void useContentOf(const std::string &path);
    void replaceDamaged(RegisterFile file);

    RegisterScope scope() const;
    void replace(Content from, Content to, const QString &text);
    void write(Content to, const QString &text);
    void editSelected();
    void select(const QString &path);
    void newProperty();
    void reset();
    void importDump();
    void exportDump();

    void showDetails();
    void showMessage(const QString &text);
    void updateActions();
    QString selectedPath() const;
    QModelIndex selected() const;
    utils::properties::RegisterModel &model() { return *_model; }

    const std::vector<FileSource::Path> _paths;
    const QStringList _arguments;

    FileSource *_source = nullptr; ///< of the model
    std::unique_ptr<utils::properties::RegisterModel> _model;
    FilterModel *_filter;
    QUndoStack _undo;
    utils::properties::PostOnce _post; ///< posts `showDetails`

    QStackedWidget *_pages;
    QLineEdit *_search;
    QTreeView *_tree;
    QLabel *_heading, *_showsThrough, *_message, *_damage;
    QTableWidget *_scopes;
    QPlainTextEdit *_faults;
    QAction *_new, *_edit, *_reset, *_copyName, *_copyValue, *_copyCommand, *_import, *_export,
        *_find, *_global;
    std::string _damagedPath;
};

} // namespace registerEditor
