#include "MainWindow.h"

#include "../registerctl/Dump.h"
#include "../registerctl/Failure.h"
#include "../registerctl/Literal.h"
#include "../registerctl/TextFile.h"
#include "DamagePage.h"
#include "Details.h"
#include "FilterModel.h"
#include "NewPropertyDialog.h"
#include "ValueDelegate.h"
#include "WrappedLabel.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QRegularExpression>
#include <QSaveFile>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QTimer>
#include <QTreeView>
#include <QUndoCommand>
#include <QVBoxLayout>

#include <algorithm>
#include <functional>
#include <sstream>

namespace registerEditor {

using utils::properties::RegisterFileError;
using utils::properties::RegisterModel;

namespace {

/// Replaces a part of a file; undone as one step. Tells why a step failed, and ends then.
class ReplaceCommand : public QUndoCommand {
public:
    using Tell = std::function<void(const QString &)>;

    ReplaceCommand(FileSource &source, RegisterScope scope, Content from, Content to,
                   const QString &text, Tell tell)
        : QUndoCommand(text), _source(source), _scope(scope), _from(std::move(from)),
          _to(std::move(to)), _tell(std::move(tell)) {}

    void redo() override { replace(_from, _to); }
    void undo() override { replace(_to, _from); }

private:
    void replace(const Content &from, const Content &to) {
        try {
            _source.replace(from, to, _scope);
        } catch (const std::exception &error) {
            setObsolete(true);
            _tell(QString::fromUtf8(error.what()));
        }
    }

    FileSource &_source;
    const RegisterScope _scope;
    const Content _from, _to;
    const Tell _tell;
};

/// A text as one word of a shell.
QString shellWord(QString text) {
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_./=:@%+,-]+$"));
    if (plain.match(text).hasMatch())
        return text;
    return u'\'' + text.replace(u'\'', QLatin1String("'\\''")) + u'\'';
}

} // namespace

MainWindow::MainWindow(std::vector<FileSource::Path> paths, QStringList arguments)
    : _paths(std::move(paths)), _arguments(std::move(arguments)), _filter(new FilterModel(this)),
      _pages(new QStackedWidget), _damage(new DamagePage), _details(new Details) {
    setWindowTitle(QString::fromStdString(_paths.front().path));
    resize(QSize(900, 600).boundedTo(screen()->availableSize()));
    createTree();
    connect(_damage, &DamagePage::tryAgain, this, &MainWindow::open);
    _pages->addWidget(_damage);
    createActions();
    setCentralWidget(_pages);
    open();
}

MainWindow::~MainWindow() {
    _undo.clear(); // before the model that its commands write to
}

void MainWindow::createTree() {
    _search = new QLineEdit;
    _search->setPlaceholderText(tr("Search names and values"));
    _search->setClearButtonEnabled(true);
    _modifiedOnly = new QCheckBox(tr("&Modified only"));
    _message = new WrappedLabel;
    _message->hide();
    _notice = new WrappedLabel;
    _tree = new QTreeView;
    _tree->setModel(_filter);
    _tree->setUniformRowHeights(true);
    _tree->setAlternatingRowColors(true);
    _tree->setEditTriggers(QAbstractItemView::NoEditTriggers); // see editSelected
    connect(_tree, &QTreeView::doubleClicked, this, &MainWindow::editSelected);
    _tree->setContextMenuPolicy(Qt::ActionsContextMenu);
    _delegate = new ValueDelegate(this);
    _tree->setItemDelegate(_delegate);
    connect(
        _delegate, &ValueDelegate::edited, this,
        [this](const QString &path, const PropertyValue &value) {
            write({{path.toStdString(), registerctl::toLiteral(value)}}, tr("Set %1").arg(path));
        });
    connect(_delegate, &ValueDelegate::message, this, &MainWindow::showMessage);

    auto *pause = new QTimer(this); // so that a search does not run for each key
    pause->setSingleShot(true);
    pause->setInterval(100);
    connect(_search, &QLineEdit::textChanged, pause, qOverload<>(&QTimer::start));
    connect(pause, &QTimer::timeout, this, [this] {
        _filter->setText(_search->text());
        if (!_search->text().isEmpty())
            _tree->expandAll();
    });
    connect(_modifiedOnly, &QCheckBox::toggled, this, [this](bool isOn) {
        _filter->setModifiedOnly(isOn);
        if (isOn)
            _tree->expandAll();
    });

    auto *bar = new QHBoxLayout;
    bar->addWidget(_search);
    bar->addWidget(_modifiedOnly);
    auto *splitter = new QSplitter(Qt::Vertical);
    splitter->addWidget(_tree);
    splitter->addWidget(_details);
    splitter->setStretchFactor(0, 1);
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    layout->addLayout(bar);
    layout->addWidget(splitter);
    layout->addWidget(_message);
    layout->addWidget(_notice);
    _pages->addWidget(page);
}

void MainWindow::createActions() {
    QMenu *file = menuBar()->addMenu(tr("&File"));
    _import = file->addAction(tr("&Import a Dump..."), this, &MainWindow::importDump);
    _export = file->addAction(tr("&Export as a Dump..."), this, &MainWindow::exportDump);
    file->addSeparator();
    QAction *quit = file->addAction(tr("&Quit"), this, &QWidget::close);
    quit->setShortcut(QKeySequence::Quit);

    QMenu *change = menuBar()->addMenu(tr("&Edit"));
    QAction *undo = _undo.createUndoAction(this, tr("&Undo"));
    QAction *redo = _undo.createRedoAction(this, tr("&Redo"));
    undo->setShortcut(QKeySequence::Undo);
    redo->setShortcut(QKeySequence::Redo);
    change->addActions({undo, redo});
    change->addSeparator();
    _new = change->addAction(tr("&New Property..."), this, &MainWindow::newProperty);
    _new->setShortcut(QKeySequence::New);
    _edit = change->addAction(tr("&Edit the Value"), this, &MainWindow::editSelected);
    _edit->setShortcuts({Qt::Key_F2, Qt::Key_Return, Qt::Key_Enter});
    _reset = change->addAction(tr("&Reset"), this, &MainWindow::reset);
    _reset->setShortcut(QKeySequence::Delete);
    for (QAction *action : {_edit, _reset}) // the keys have their own meaning in other widgets
        action->setShortcutContext(Qt::WidgetShortcut);
    _global = change->addAction(tr("Edit the &Global File"));
    _global->setCheckable(true);
    connect(_global, &QAction::toggled, this, &MainWindow::editGlobal);
    change->addSeparator();
    const auto copy = [this](auto text) {
        return [this, text] { QApplication::clipboard()->setText(text(selectedPath())); };
    };
    const auto value = [this](const QString &) {
        return editableText(shownValue(selected(), scope()));
    };
    _copyName = change->addAction(tr("Copy the &Name"), this,
                                  copy([](const QString &path) { return path; }));
    _copyValue = change->addAction(tr("Copy the &Value"), this, copy(value));
    _copyCommand =
        change->addAction(tr("Copy the &Command"), this, copy([this](const QString &path) {
                              QStringList words = QStringList{"registerctl"} + _arguments +
                                                  QStringList{"set", "--literal"};
                              if (path.startsWith(u'-'))
                                  words += "--";
                              words += {path, QString::fromStdString(selectedLiteral())};
                              std::transform(words.begin(), words.end(), words.begin(), shellWord);
                              return words.join(u' ');
                          }));
    _copyCommand->setShortcut(QKeySequence(QStringLiteral("Ctrl+Shift+C")));
    _find = change->addAction(tr("&Find"), _search, [this] { _search->setFocus(); });
    _find->setShortcut(QKeySequence::Find);
    _tree->addActions({_edit, _new, _reset, _copyName, _copyValue, _copyCommand});
}

void MainWindow::open() {
    _undo.clear();
    _filter->setSourceModel(nullptr);
    _model.reset();
    try {
        auto source = std::make_unique<FileSource>(_paths);
        _source = source.get();
        _model = std::make_unique<RegisterModel>(std::move(source));
    } catch (const RegisterFileError &error) {
        _damage->showFault(error);
        _pages->setCurrentIndex(1);
        updateActions();
        return;
    }
    connect(_model.get(), &RegisterModel::writeFailed, this, &MainWindow::showMessage);
    connect(_source, &FileSource::refreshed, this, &MainWindow::showNotice);
    const auto changed = [this] { _post(this, &MainWindow::showDetails); };
    for (auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(_model.get(), signal, this, changed);
    connect(_model.get(), &QAbstractItemModel::dataChanged, this, changed);
    _filter->setSourceModel(_model.get());
    connect(_tree->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &MainWindow::showDetails);
    _tree->header()->resizeSection(RegisterModel::NameColumn, 280);
    _tree->header()->resizeSection(RegisterModel::TypeColumn, 130);
    _tree->header()->resizeSection(RegisterModel::ValueColumn, 320);
    _tree->expandToDepth(0);
    _pages->setCurrentIndex(0);
    showMessage({});
    showDetails();
}

QModelIndex MainWindow::selected() const {
    return _tree->selectionModel() ? _tree->currentIndex() : QModelIndex();
}

QString MainWindow::selectedPath() const {
    return selected().data(RegisterModel::PathRole).toString();
}

/// The value that the selected row shows, or that of the edited scope.
std::string MainWindow::selectedLiteral() const {
    const QModelIndex at = _filter->mapToSource(selected());
    const bool isEdited = _model->value(at, scope()) != PropertyValue();
    const RegisterFile &file = _source->file(isEdited ? scope() : *_model->origin(at));
    return registerctl::contentOf(file, selectedPath().toStdString()).begin()->second;
}

void MainWindow::editGlobal(bool isOn) {
    _delegate->setScope(isOn ? utils::properties::GlobalScope : utils::properties::UserScope);
    showMessage({});
    showDetails();
}

/// The scope whose file is edited.
RegisterScope MainWindow::scope() const {
    return _global->isChecked() ? utils::properties::GlobalScope : utils::properties::UserScope;
}

/// Replaces a part of the edited file, and the other way round when this is undone.
void MainWindow::replace(Content from, Content to, const QString &text) {
    showMessage({});
    if (from != to)
        _undo.push(new ReplaceCommand(*_source, scope(), std::move(from), std::move(to), text,
                                      [this](const QString &error) { showMessage(error); }));
}

void MainWindow::write(Content to, const QString &text) {
    Content before = _source->contentBefore(to, scope());
    replace(std::move(before), std::move(to), text);
}

void MainWindow::editSelected() {
    const QModelIndex value = selected().siblingAtColumn(RegisterModel::ValueColumn);
    if (value.flags() & Qt::ItemIsEditable)
        _tree->edit(value);
}

/// Selects a name, and ends a search that hides it.
void MainWindow::select(const QString &path) {
    const QModelIndex at = model().indexOf(path, RegisterModel::ValueColumn);
    if (at.isValid() && !_filter->mapFromSource(at).isValid()) {
        _search->clear();
        _modifiedOnly->setChecked(false);
        _filter->setText({});
    }
    _tree->setCurrentIndex(_filter->mapFromSource(at));
}

void MainWindow::newProperty() {
    const QString path = selectedPath();
    const bool isGroup = selected().data(RegisterModel::IsGroupRole).toBool();
    NewPropertyDialog dialog(isGroup ? path : path.section(u'/', 0, -2), this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const QString name = dialog.name();
    if (model().indexOf(name).isValid()) {
        select(name);
        return showMessage(tr("%1 exists already.").arg(name));
    }
    write({{name.toStdString(), registerctl::toLiteral(dialog.value())}}, tr("New %1").arg(name));
    // After the model has read it.
    QTimer::singleShot(0, this, [this, name] {
        select(name);
        if (selectedPath() == name)
            editSelected();
    });
}

void MainWindow::reset() {
    replace(registerctl::contentOf(_source->file(scope()), selectedPath().toStdString()), {},
            tr("Reset %1").arg(selectedPath()));
}

void MainWindow::importDump() {
    const QString path = QFileDialog::getOpenFileName(this, tr("Import a Dump"));
    if (path.isEmpty())
        return;
    try {
        RegisterFile content = registerctl::scratchFile();
        registerctl::readDump(registerctl::readText(path.toStdString()), content, {});
        write(registerctl::contentOf(content, {}), tr("Import"));
    } catch (const registerctl::Failure &failure) {
        showMessage(QString::fromUtf8(failure.what()));
    }
}

void MainWindow::exportDump() {
    const QString path = QFileDialog::getSaveFileName(this, tr("Export as a Dump"));
    if (path.isEmpty())
        return;
    std::ostringstream text;
    registerctl::writeDump(text, registerctl::contentOf(_source->file(scope()), {}));
    QSaveFile out(path);
    out.open(QIODevice::WriteOnly);
    out.write(QByteArray::fromStdString(text.str()));
    if (!out.commit())
        showMessage(out.errorString());
}

void MainWindow::showDetails() {
    updateActions();
    const QModelIndex at = _filter->mapToSource(selected());
    if (at.isValid())
        _details->showName(model(), *_source, at, scope());
    else
        _details->showNothing();
}

/// Shows what the last step has to tell, and the notice of the source.
void MainWindow::showMessage(const QString &text) {
    _message->setText(text);
    _message->setVisible(!text.isEmpty());
    showNotice();
}

void MainWindow::showNotice() {
    _notice->setText(_source->notice(scope()));
    _notice->setVisible(!_notice->text().isEmpty());
}

void MainWindow::updateActions() {
    const bool isOpen = _model != nullptr;
    const bool isWritable = isOpen && _source->isWritable(scope());
    _global->setEnabled(isOpen && _source->isWritable(utils::properties::GlobalScope));
    const QModelIndex at = isOpen ? selected() : QModelIndex();
    const bool isProperty = at.isValid() && !at.data(RegisterModel::IsGroupRole).toBool();
    for (QAction *action : {_import, _new})
        action->setEnabled(isWritable);
    _reset->setEnabled(isWritable && at.isValid());
    for (QAction *action : {_copyValue, _copyCommand})
        action->setEnabled(isProperty);
    _edit->setEnabled(at.siblingAtColumn(RegisterModel::ValueColumn).flags() & Qt::ItemIsEditable);
    _copyName->setEnabled(at.isValid());
    _export->setEnabled(isOpen);
}

} // namespace registerEditor
