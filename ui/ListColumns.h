// Columns of the report-style lists, addressed by key: a column's key is its header text.
#pragma once

#include <QString>

class QTreeWidget;

namespace ui {

// The index of the column keyed `key`; an unknown key is error 5.
int ColumnByKey(const QTreeWidget& list, const QString& key);
// Widens every column to its widest text, header included.
void FitColumns(QTreeWidget& list);

}  // namespace ui
