#pragma once

#include "FileSource.h"

#include <qt/PostOnce.h>
#include <qt/RegisterModel.h>

#include <QMainWindow>
#include <QUndoStack>

#include <memory>
#include <optional>

class QCheckBox;
class QLabel;
class QLineEdit;
class QStackedWidget;
class QTreeView;

namespace registerEditor {

class DamagePage;
class Details;
class FilterModel;
class ValueDelegate;

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
    void createActions();

    void open();

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
    void showNotice();
    void updateActions();
    QString selectedPath() const;
    std::string selectedLiteral() const;
    void editGlobal(bool isOn);
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
    DamagePage *_damage;
    Details *_details;
    QLineEdit *_search;
    QCheckBox *_modifiedOnly;
    QTreeView *_tree;
    ValueDelegate *_delegate;
    QLabel *_message, *_notice;
    QAction *_new, *_edit, *_reset, *_copyName, *_copyValue, *_copyCommand, *_import, *_export,
        *_find, *_global;
};

} // namespace registerEditor
