#pragma once

#include "FileSource.h"

#include <qt/RegisterModel.h>

#include <QWidget>

class QLabel;
class QTableWidget;

namespace registerEditor {

/// What each scope has for a name, and what a reset would show.
class Details : public QWidget {
    Q_OBJECT

public:
    Details();

    /// `at` is an index of `model`, which shows `source`; `edited` is the scope that a reset
    /// changes.
    void showName(const utils::properties::RegisterModel &model, const FileSource &source,
                  const QModelIndex &at, RegisterScope edited);
    void showNothing();

private:
    void addScope(const FileSource &source, RegisterScope scope, const QString &value);

    QLabel *_heading, *_showsThrough;
    QTableWidget *_scopes;
};

} // namespace registerEditor
