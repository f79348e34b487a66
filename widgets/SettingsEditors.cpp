// How the binder uses each kind of widget.
#include "widgets/SettingsBinder.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QKeySequenceEdit>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QSlider>
#include <QSpinBox>
#include <QStringListModel>
#include <QTextEdit>

#include <limits>

namespace utils::properties {

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
