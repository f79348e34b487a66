#include "widgets/SettingsBinder.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QKeySequenceEdit>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSlider>
#include <QSpinBox>
#include <QStringListModel>
#include <QTextEdit>

#include <algorithm>
#include <limits>
#include <utility>

namespace utils::properties {

struct SettingsBinder::Binding {
    Setting setting;
    Editor editor;
    bool isTouched = false; ///< the widget shows an edit of the user
    bool willReset = false; ///< the widget shows what lies below
    bool isShowing = false; ///< this object changes the widget

    bool isPending() const { return isTouched || willReset; }
};

SettingsBinder::SettingsBinder(QObject *parent) : QObject(parent) {}

SettingsBinder::~SettingsBinder() = default;

bool SettingsBinder::hasOwnValue(const std::string &name, RegisterScope scope) {
    const _Register &reg = initializedRegister();
    return reg.propertyExists(name, scope) && !reg.groupExists(name, scope);
}

void SettingsBinder::add(Setting setting, Editor editor) {
    _bindings.push_back(std::make_unique<Binding>(Binding{std::move(setting), std::move(editor)}));
    Binding *const binding = _bindings.back().get();
    QObject *const widget = binding->editor.widget;
    show(*binding, binding->setting.value());
    binding->editor.onEdit(binding->setting.live.get(), [this, binding] { edited(*binding); });
    connect(binding->setting.live.get(), &LivePropertyBase::changed, this,
            [this, binding] { changedOutside(*binding); });
    connect(widget, &QObject::destroyed, this, [this, binding] {
        _bindings.erase(std::find_if(_bindings.begin(), _bindings.end(),
                                     [&](const auto &each) { return each.get() == binding; }));
    });
    if (auto *focused = qobject_cast<QWidget *>(widget)) {
        widget->installEventFilter(this);
        if (focused->focusPolicy() == Qt::WheelFocus)
            focused->setFocusPolicy(Qt::StrongFocus);
    }
    update();
}

void SettingsBinder::show(Binding &binding, const QVariant &value) {
    const QScopedValueRollback<bool> showing(binding.isShowing, true);
    if (binding.editor.value() != value)
        binding.editor.show(value);
}

void SettingsBinder::edited(Binding &binding) {
    if (binding.isShowing)
        return;
    binding.willReset = false;
    binding.isTouched = binding.editor.value() != binding.setting.value();
    if (_isImmediate && binding.isTouched)
        write(binding);
    update();
}

void SettingsBinder::changedOutside(Binding &binding) {
    if (binding.isShowing) // this object has written it
        return;
    if (binding.willReset) {
        binding.willReset = binding.setting.isSet();
        show(binding, binding.setting.valueAfterReset());
        if (binding.willReset)
            emit conflict(QString::fromStdString(binding.setting.name));
    } else if (!binding.isTouched) {
        show(binding, binding.setting.value());
    } else if (binding.editor.value() == binding.setting.value()) {
        binding.isTouched = false;
    } else {
        emit conflict(QString::fromStdString(binding.setting.name));
    }
    update();
}

/// Writes or resets one property. Returns false when that was refused.
bool SettingsBinder::write(Binding &binding) {
    const QScopedValueRollback<bool> showing(binding.isShowing, true);
    try {
        if (binding.willReset)
            binding.setting.reset();
        else
            binding.setting.write(binding.editor.value());
    } catch (const std::exception &error) {
        emit refused(QString::fromStdString(binding.setting.name), QString::fromUtf8(error.what()));
        return false;
    }
    binding.isTouched = binding.willReset = false;
    return true;
}

bool SettingsBinder::apply() {
    std::vector<Binding *> written;
    try {
        initializedRegister().changeInOneStep(this, [&] {
            for (const auto &binding : _bindings)
                if (binding->isPending() && write(*binding))
                    written.push_back(binding.get());
        });
    } catch (const std::exception &error) { // of another party's callback; the values are stored
        emit refused({}, QString::fromUtf8(error.what()));
    }
    for (Binding *binding : written)
        show(*binding, binding->setting.value());
    update();
    return !hasChanged();
}

void SettingsBinder::reset() {
    for (const auto &binding : _bindings) {
        binding->isTouched = binding->willReset = false;
        show(*binding, binding->setting.value());
    }
    update();
}

void SettingsBinder::restoreDefaults() {
    for (const auto &binding : _bindings) {
        binding->isTouched = false;
        binding->willReset = binding->setting.isSet();
        show(*binding, binding->setting.valueAfterReset());
    }
    if (_isImmediate)
        apply();
    update();
}

bool SettingsBinder::hasChanged() const {
    return std::any_of(_bindings.begin(), _bindings.end(),
                       [](const auto &binding) { return binding->isPending(); });
}

bool SettingsBinder::isDefault() const {
    return std::all_of(_bindings.begin(), _bindings.end(), [](const auto &binding) {
        return binding->willReset || (!binding->isTouched && !binding->setting.isSet());
    });
}

void SettingsBinder::update() {
    if (std::exchange(_hasChanged, hasChanged()) != _hasChanged)
        emit hasChangedChanged(_hasChanged);
    if (std::exchange(_isDefault, isDefault()) != _isDefault)
        emit isDefaultChanged(_isDefault);
}

const QVariant &SettingsBinder::number(const QVariant &shown) {
    bool isNumber = false;
    shown.toDouble(&isNumber);
    if (!isNumber)
        throw Exception(tr("\"%1\" is not a number.").arg(shown.toString()).toStdString());
    return shown;
}

void SettingsBinder::setImmediate(bool isImmediate) {
    _isImmediate = isImmediate;
    if (isImmediate)
        apply();
}

void SettingsBinder::setButtonBox(QDialogButtonBox *box) {
    connect(box, &QDialogButtonBox::clicked, this,
            [this, box](QAbstractButton *button) { clicked(box, button); });
    for (const auto which : {QDialogButtonBox::Apply, QDialogButtonBox::Reset})
        if (QPushButton *button = box->button(which)) {
            button->setEnabled(hasChanged());
            connect(this, &SettingsBinder::hasChangedChanged, button, &QWidget::setEnabled);
        }
    if (QPushButton *button = box->button(QDialogButtonBox::RestoreDefaults)) {
        button->setDisabled(isDefault());
        connect(this, &SettingsBinder::isDefaultChanged, button, &QWidget::setDisabled);
    }
}

void SettingsBinder::clicked(QDialogButtonBox *box, QAbstractButton *button) {
    switch (box->standardButton(button)) {
    case QDialogButtonBox::Apply:
        apply();
        return;
    case QDialogButtonBox::Ok:
    case QDialogButtonBox::Save:
        if (apply())
            emit accepted();
        return;
    case QDialogButtonBox::Reset:
    case QDialogButtonBox::Cancel:
    case QDialogButtonBox::Discard:
        return reset();
    case QDialogButtonBox::RestoreDefaults:
        return restoreDefaults();
    default:
        return;
    }
}

/// Leaves the wheel to what lies behind a widget without the focus.
bool SettingsBinder::eventFilter(QObject *watched, QEvent *event) {
    const auto *widget = qobject_cast<QWidget *>(watched);
    if (event->type() != QEvent::Wheel || !widget || widget->hasFocus() ||
        qobject_cast<const QAbstractScrollArea *>(widget))
        return QObject::eventFilter(watched, event);
    event->ignore();
    return true;
}

namespace {

/// The function of an editor that connects its signal.
template <class Widget, class Signal>
auto onSignal(Widget *widget, Signal signal) {
    return [widget, signal](QObject *context, std::function<void()> function) {
        QObject::connect(widget, signal, context, [function] { function(); });
    };
}

} // namespace

SettingsBinder::Editor SettingsBinder::editorOf(QCheckBox *box) {
    return {box,
            [box] { return box->isChecked(); },
            [box](const QVariant &value) { box->setChecked(value.toBool()); },
            {},
            {},
            onSignal(box, &QCheckBox::toggled)};
}

SettingsBinder::Editor SettingsBinder::editorOf(QButtonGroup *group) {
    return {group,
            [group] { return group->checkedId(); },
            [group](const QVariant &value) {
                if (QAbstractButton *button = group->button(value.toInt()))
                    button->setChecked(true);
            },
            {},
            {},
            onSignal(group, qOverload<QAbstractButton *>(&QButtonGroup::buttonClicked))};
}

SettingsBinder::Editor SettingsBinder::editorOf(QSpinBox *box) {
    if (const QSpinBox fresh;
        box->minimum() == fresh.minimum() && box->maximum() == fresh.maximum())
        box->setRange(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    return {box,
            [box] { return box->value(); },
            [box](const QVariant &value) { box->setValue(value.toInt()); },
            [box](const QVariant &min, const QVariant &max) {
                box->setRange(min.toInt(), max.toInt());
            },
            {},
            onSignal(box, qOverload<int>(&QSpinBox::valueChanged))};
}

SettingsBinder::Editor SettingsBinder::editorOf(QDoubleSpinBox *box) {
    return {box,
            [box] { return box->value(); },
            [box](const QVariant &value) { box->setValue(value.toDouble()); },
            [box](const QVariant &min, const QVariant &max) {
                box->setRange(min.toDouble(), max.toDouble());
            },
            {},
            onSignal(box, qOverload<double>(&QDoubleSpinBox::valueChanged))};
}

SettingsBinder::Editor SettingsBinder::editorOf(QAbstractSlider *slider) {
    return {slider,
            [slider] { return slider->value(); },
            [slider](const QVariant &value) { slider->setValue(value.toInt()); },
            [slider](const QVariant &min, const QVariant &max) {
                slider->setRange(min.toInt(), max.toInt());
            },
            {},
            onSignal(slider, &QAbstractSlider::valueChanged)};
}

SettingsBinder::Editor SettingsBinder::editorOf(QLineEdit *edit) {
    return {edit,
            [edit] { return edit->text(); },
            [edit](const QVariant &value) { edit->setText(value.toString()); },
            {},
            {},
            onSignal(edit, &QLineEdit::textChanged)};
}

SettingsBinder::Editor SettingsBinder::editorOf(QPlainTextEdit *edit) {
    return {edit,
            [edit] { return edit->toPlainText(); },
            [edit](const QVariant &value) { edit->setPlainText(value.toString()); },
            {},
            {},
            onSignal(edit, &QPlainTextEdit::textChanged)};
}

SettingsBinder::Editor SettingsBinder::editorOf(QTextEdit *edit) {
    return {edit,
            [edit] { return edit->toPlainText(); },
            [edit](const QVariant &value) { edit->setPlainText(value.toString()); },
            {},
            {},
            onSignal(edit, &QTextEdit::textChanged)};
}

namespace {

QVariant valueOf(const QComboBox *box) {
    const bool isTyped = box->currentText() != box->itemText(box->currentIndex());
    const QVariant data = box->currentData();
    return isTyped || !data.isValid() ? box->currentText() : data;
}

void showValue(QComboBox *box, const QVariant &value) {
    const int data = box->findData(value);
    const int at =
        data >= 0 ? data
                  : box->findText(value.toString(), Qt::MatchFixedString | Qt::MatchCaseSensitive);
    box->setCurrentIndex(at);
    if (at < 0 && box->isEditable())
        box->setEditText(value.toString());
}

} // namespace

SettingsBinder::Editor SettingsBinder::editorOf(QComboBox *box) {
    const bool wasEmpty = box->count() == 0;
    return {box,
            [box] { return valueOf(box); },
            [box](const QVariant &value) { showValue(box, value); },
            {},
            [box, wasEmpty](const QVariant &choice) {
                if (wasEmpty)
                    box->addItem(choice.toString(), choice);
            },
            [box](QObject *context, std::function<void()> function) {
                QObject::connect(box, qOverload<int>(&QComboBox::currentIndexChanged), context,
                                 [function] { function(); });
                QObject::connect(box, &QComboBox::editTextChanged, context,
                                 [function] { function(); });
            }};
}

SettingsBinder::Editor SettingsBinder::editorOf(QDateEdit *edit) {
    return {edit,
            [edit] { return edit->date(); },
            [edit](const QVariant &value) { edit->setDate(value.toDate()); },
            [edit](const QVariant &min, const QVariant &max) {
                edit->setDateRange(min.toDate(), max.toDate());
            },
            {},
            onSignal(edit, &QDateEdit::dateChanged)};
}

SettingsBinder::Editor SettingsBinder::editorOf(QTimeEdit *edit) {
    return {edit,
            [edit] { return edit->time(); },
            [edit](const QVariant &value) { edit->setTime(value.toTime()); },
            [edit](const QVariant &min, const QVariant &max) {
                edit->setTimeRange(min.toTime(), max.toTime());
            },
            {},
            onSignal(edit, &QTimeEdit::timeChanged)};
}

SettingsBinder::Editor SettingsBinder::editorOf(QDateTimeEdit *edit) {
    return {edit,
            [edit] { return edit->dateTime(); },
            [edit](const QVariant &value) { edit->setDateTime(value.toDateTime()); },
            [edit](const QVariant &min, const QVariant &max) {
                edit->setDateTimeRange(min.toDateTime(), max.toDateTime());
            },
            {},
            onSignal(edit, &QDateTimeEdit::dateTimeChanged)};
}

SettingsBinder::Editor SettingsBinder::editorOf(QKeySequenceEdit *edit) {
    return {edit,
            [edit] { return QVariant::fromValue(edit->keySequence()); },
            [edit](const QVariant &value) { edit->setKeySequence(value.value<QKeySequence>()); },
            {},
            {},
            onSignal(edit, &QKeySequenceEdit::keySequenceChanged)};
}

namespace {

QStringList textsOf(const QListView *list) {
    QStringList texts;
    const QAbstractItemModel *const model = list->model();
    for (int row = 0; model && row < model->rowCount(); ++row)
        texts.append(model->index(row, list->modelColumn()).data(Qt::EditRole).toString());
    return texts;
}

void showTexts(QListView *list, const QStringList &texts) {
    QAbstractItemModel *const model = list->model();
    if (!model) // it was destroyed
        return;
    const int count = static_cast<int>(texts.size());
    if (const int missing = count - model->rowCount(); missing > 0)
        model->insertRows(model->rowCount(), missing);
    else if (missing < 0)
        model->removeRows(count, -missing);
    for (int row = 0; row < count; ++row)
        model->setData(model->index(row, list->modelColumn()), texts[row], Qt::EditRole);
    if (auto *items = qobject_cast<QListWidget *>(list))
        for (int row = 0; row < count; ++row)
            items->item(row)->setFlags(items->item(row)->flags() | Qt::ItemIsEditable);
}

} // namespace

SettingsBinder::Editor SettingsBinder::editorOf(QListView *list) {
    if (!list->model())
        list->setModel(new QStringListModel(list));
    return {list,
            [list] { return textsOf(list); },
            [list](const QVariant &value) { showTexts(list, value.toStringList()); },
            {},
            {},
            [list](QObject *context, std::function<void()> function) {
                using Model = QAbstractItemModel;
                for (auto signal : {&Model::rowsInserted, &Model::rowsRemoved})
                    QObject::connect(list->model(), signal, context, function);
                QObject::connect(list->model(), &Model::rowsMoved, context, function);
                QObject::connect(list->model(), &Model::dataChanged, context, function);
                QObject::connect(list->model(), &Model::modelReset, context, function);
            }};
}

} // namespace utils::properties
