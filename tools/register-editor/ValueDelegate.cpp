#include "ValueDelegate.h"

#include "../registerctl/Dump.h"
#include "../registerctl/Literal.h"

#include <qt/ValueVariant.h>

#include <QComboBox>
#include <QLineEdit>
#include <QSortFilterProxyModel>
#include <QSpinBox>

#include <limits>
#include <stdexcept>

namespace registerEditor {

using utils::properties::RegisterFile;
using utils::properties::RegisterModel;

PropertyValue shownValue(const QModelIndex &index) {
    QModelIndex source = index;
    const QAbstractItemModel *model = index.model();
    while (const auto *proxy = qobject_cast<const QAbstractProxyModel *>(model)) {
        source = proxy->mapToSource(source);
        model = proxy->sourceModel();
    }
    const auto *reg = qobject_cast<const RegisterModel *>(model);
    const auto from = reg->origin(source);
    return from ? reg->value(source, *from) : PropertyValue();
}

QString editableText(const PropertyValue &value) {
    if (const auto *text = std::get_if<std::string>(&value))
        if (const QString decoded = QString::fromStdString(*text); decoded.toStdString() == *text)
            return decoded;
    return QString::fromStdString(registerctl::toLiteral(value));
}

PropertyValue valueOf(const QString &text, const PropertyValue &like) {
    const bool isText = std::holds_alternative<std::string>(like);
    if (isText && !editableText(like).startsWith(QLatin1String("b64\"")))
        return text.toStdString();
    RegisterFile scratch = registerctl::scratchFile();
    registerctl::writeLiteral(scratch, "value", text.trimmed().toStdString());
    PropertyValue value = scratch.readAny("value");
    if (std::holds_alternative<double>(like) && std::holds_alternative<int>(value))
        value = double(std::get<int>(value)); // 5 for 5.0
    if (value.index() != like.index())
        throw std::runtime_error(QStringLiteral("%1 is not a value of the type %2.")
                                     .arg(text, utils::properties::typeText(like))
                                     .toStdString());
    return value;
}

QWidget *ValueDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &,
                                     const QModelIndex &index) const {
    const PropertyValue value = shownValue(index);
    if (std::holds_alternative<int>(value)) {
        auto *box = new QSpinBox(parent);
        box->setRange(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
        return box;
    }
    if (std::holds_alternative<bool>(value)) {
        auto *box = new QComboBox(parent);
        box->addItems({QStringLiteral("true"), QStringLiteral("false")});
        return box;
    }
    return new QLineEdit(parent);
}

void ValueDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const {
    const PropertyValue value = shownValue(index);
    if (auto *box = qobject_cast<QSpinBox *>(editor))
        box->setValue(std::get<int>(value));
    else if (auto *choice = qobject_cast<QComboBox *>(editor))
        choice->setCurrentText(editableText(value));
    else if (auto *line = qobject_cast<QLineEdit *>(editor))
        line->setText(editableText(value));
}

void ValueDelegate::setModelData(QWidget *editor, QAbstractItemModel *,
                                 const QModelIndex &index) const {
    const PropertyValue before = shownValue(index);
    const QString path = index.data(RegisterModel::PathRole).toString();
    try {
        PropertyValue value;
        if (auto *box = qobject_cast<QSpinBox *>(editor))
            value = box->value();
        else if (auto *choice = qobject_cast<QComboBox *>(editor))
            value = choice->currentText() == QLatin1String("true");
        else
            value = valueOf(qobject_cast<QLineEdit *>(editor)->text(), before);
        if (value != before)
            emit edited(path, value);
    } catch (const std::exception &error) {
        emit refused(QString::fromUtf8(error.what()));
    }
}

} // namespace registerEditor
