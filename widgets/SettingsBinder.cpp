#include "widgets/SettingsBinder.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QDialogButtonBox>
#include <QEvent>
#include <QPushButton>
#include <QScopedValueRollback>

#include <algorithm>
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

} // namespace utils::properties
