#pragma once

#include "qt/LiveProperty.h"
#include "widgets/Export.h"

#include <QDateTime>
#include <QKeySequence>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

class QAbstractButton;
class QAbstractSlider;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDateEdit;
class QDateTimeEdit;
class QDialogButtonBox;
class QDoubleSpinBox;
class QKeySequenceEdit;
class QLineEdit;
class QListView;
class QPlainTextEdit;
class QSpinBox;
class QTextEdit;
class QTimeEdit;
class QWidget;

namespace utils::properties {

/// Binds the widgets of a preferences dialog to properties.
///
/// A widget shows its property and follows it. What the user edits is kept until `apply`, or
/// written at once with `setImmediate(true)`. Only what the user has touched is written. A change
/// from outside moves a widget that the user has not touched; otherwise the edit stays, and
/// `conflict` is emitted. The limits of a property become those of its widget. The wheel changes a
/// widget only when it has the focus.
///
/// Create, use and destroy it in the thread of the widgets, after `_Register::initialize`. A widget
/// may be destroyed before this object.
class REGISTER_WIDGETS_EXPORT SettingsBinder : public QObject {
    Q_OBJECT

public:
    /// With a parent, usually the dialog, it lives as long as that.
    explicit SettingsBinder(QObject *parent = nullptr);
    ~SettingsBinder() override;

    ///@{
    /// Binds a property to a widget. The value of a combo box is the data of its items, or their
    /// text where they have none, and what is typed into it, never the index; an empty box gets an
    /// item for each choice that the property's limits name. The value of a button group is the id
    /// of the button. The value of a list view is the texts of its model, which has to be able to
    /// insert rows and to stay; a view without a model gets one. A number box or slider for a
    /// property without limits needs a range of its own: it cannot show what lies outside.
    template <class Value>
    void bind(Property<Value> property, QCheckBox *box) {
        bindAs<bool>(std::move(property), editorOf(box));
    }
    template <class Value>
    void bind(Property<Value> property, QButtonGroup *group) {
        bindAs<int>(std::move(property), editorOf(group));
    }
    template <class Value>
    void bind(Property<Value> property, QSpinBox *box) {
        bindAs<int>(std::move(property), editorOf(box));
    }
    template <class Value>
    void bind(Property<Value> property, QDoubleSpinBox *box) {
        bindAs<double>(std::move(property), editorOf(box));
    }
    template <class Value>
    void bind(Property<Value> property, QAbstractSlider *slider) {
        bindAs<int>(std::move(property), editorOf(slider));
    }
    template <class Value>
    void bind(Property<Value> property, QLineEdit *edit) {
        bindAs<QString>(std::move(property), editorOf(edit));
    }
    template <class Value>
    void bind(Property<Value> property, QPlainTextEdit *edit) {
        bindAs<QString>(std::move(property), editorOf(edit));
    }
    template <class Value>
    void bind(Property<Value> property, QTextEdit *edit) {
        bindAs<QString>(std::move(property), editorOf(edit));
    }
    template <class Value>
    void bind(Property<Value> property, QComboBox *box) {
        bindAs<QVariant>(std::move(property), editorOf(box));
    }
    template <class Value>
    void bind(Property<Value> property, QDateEdit *edit) {
        bindAs<QDate>(std::move(property), editorOf(edit));
    }
    template <class Value>
    void bind(Property<Value> property, QTimeEdit *edit) {
        bindAs<QTime>(std::move(property), editorOf(edit));
    }
    template <class Value>
    void bind(Property<Value> property, QDateTimeEdit *edit) {
        bindAs<QDateTime>(std::move(property), editorOf(edit));
    }
    template <class Value>
    void bind(Property<Value> property, QKeySequenceEdit *edit) {
        bindAs<QKeySequence>(std::move(property), editorOf(edit));
    }
    template <class Value>
    void bind(Property<Value> property, QListView *list) {
        bindAs<QStringList>(std::move(property), editorOf(list));
    }
    ///@}

    /// Wires the buttons of a box: Apply, Ok, Reset, Cancel and Restore Defaults. Ok applies and
    /// then emits `accepted`; connect that to the dialog, not the signal of the box, which also
    /// comes when a value was refused.
    void setButtonBox(QDialogButtonBox *box);
    /// With true, each edit is written at once.
    void setImmediate(bool isImmediate);

    /// True when something is not applied yet.
    bool hasChanged() const;
    /// True when no property has a value of its own, not even one that it refuses, or none after
    /// `apply`.
    bool isDefault() const;

public slots:
    /// Writes what the user has touched, as one step, and resets what `restoreDefaults` showed.
    /// What is refused stays as it is in its widget; returns false then.
    bool apply();
    /// Discards what is not applied.
    void reset();
    /// Shows the values that lie below those of the user; `apply` then resets the properties.
    void restoreDefaults();

signals:
    void hasChangedChanged(bool hasChanged); ///< see `hasChanged`
    void isDefaultChanged(bool isDefault);   ///< see `isDefault`
    void accepted(); ///< Ok of the button box was clicked, and all was written
    /// A property that the user has edited, or that waits for its reset, was changed by others.
    /// What the user has done stays.
    void conflict(const QString &name);
    /// A value was not written, and why.
    void refused(const QString &name, const QString &reason);

protected:
    /// Holds the wheel off widgets without the focus.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    /// A widget, as its bindings use it.
    struct Editor {
        QObject *widget;
        std::function<QVariant()> value;
        std::function<void(const QVariant &)> show;
        std::function<void(const QVariant &min, const QVariant &max)> setRange; ///< may be empty
        std::function<void(const QVariant &)> addChoice;                        ///< may be empty
        std::function<void(QObject *context, std::function<void()>)> onEdit;
    };

    /// A property, as the binder uses it.
    struct Setting {
        std::string name;
        std::unique_ptr<LivePropertyBase> live;
        std::function<QVariant()> value, valueAfterReset;
        std::function<bool()> isSet;
        std::function<void(const QVariant &)> write;
        std::function<void()> reset;
    };

    struct Binding;

    static Editor editorOf(QCheckBox *box);
    static Editor editorOf(QButtonGroup *group);
    static Editor editorOf(QSpinBox *box);
    static Editor editorOf(QDoubleSpinBox *box);
    static Editor editorOf(QAbstractSlider *slider);
    static Editor editorOf(QLineEdit *edit);
    static Editor editorOf(QPlainTextEdit *edit);
    static Editor editorOf(QTextEdit *edit);
    static Editor editorOf(QComboBox *box);
    static Editor editorOf(QDateEdit *edit);
    static Editor editorOf(QTimeEdit *edit);
    static Editor editorOf(QDateTimeEdit *edit);
    static Editor editorOf(QKeySequenceEdit *edit);
    static Editor editorOf(QListView *list);

    /// Between the value of a property and the type that the widget edits.
    template <class Shown, class Value>
    static QVariant toWidget(const Value &value) {
        if constexpr (std::is_same_v<Value, std::string>)
            return QString::fromStdString(value);
        else if constexpr (std::is_same_v<Shown, QVariant>)
            return QVariant::fromValue(value);
        else
            return QVariant::fromValue(static_cast<Shown>(value));
    }
    template <class Value>
    static Value fromWidget(const QVariant &shown) {
        if constexpr (std::is_same_v<Value, std::string>)
            return shown.toString().toStdString();
        else if constexpr (std::is_enum_v<Value>)
            return shown.canConvert<Value>() ? shown.value<Value>() : Value(number(shown).toInt());
        else if constexpr (std::is_arithmetic_v<Value>)
            return number(shown).value<Value>();
        else
            return shown.value<Value>();
    }
    /// The value itself. Throws `utils::Exception` for what is not a number, such as another text
    /// in a combo box.
    static const QVariant &number(const QVariant &shown);

    template <class Shown, class Value>
    void bindAs(Property<Value> property, Editor editor) {
        if constexpr (std::is_arithmetic_v<Value> && std::is_arithmetic_v<Shown>)
            static_assert(std::numeric_limits<Value>::digits <=
                                  std::numeric_limits<Shown>::digits &&
                              (std::is_integral_v<Value> || !std::is_integral_v<Shown>),
                          "The widget cannot show all values of the property.");
        if (const Range<Value> *range = property.limits().range(); range && editor.setRange)
            editor.setRange(toWidget<Shown>(range->min), toWidget<Shown>(range->max));
        if (editor.addChoice)
            for (const Value &choice : property.limits().choices())
                editor.addChoice(toWidget<Shown>(choice));
        auto live = std::make_unique<LiveProperty<Value>>(property);
        LiveProperty<Value> *const at = live.get();
        add({property.name(), std::move(live), [at] { return toWidget<Shown>(at->value()); },
             [property] { return toWidget<Shown>(property.valueAfterReset()); },
             [property] { return hasOwnValue(property.name(), property.scope()); },
             [at](const QVariant &value) { at->set(fromWidget<Value>(value)); },
             [at] { at->reset(); }},
            std::move(editor));
    }

    /// True also for a value that the property refuses: a reset removes it.
    static bool hasOwnValue(const std::string &name, RegisterScope scope);
    void add(Setting setting, Editor editor);
    void edited(Binding &binding);
    void changedOutside(Binding &binding);
    void show(Binding &binding, const QVariant &value);
    bool write(Binding &binding);
    void update();
    void clicked(QDialogButtonBox *box, QAbstractButton *button);

    std::vector<std::unique_ptr<Binding>> _bindings;
    bool _isImmediate = false;
    bool _hasChanged = false, _isDefault = true; ///< as last told
};

} // namespace utils::properties
