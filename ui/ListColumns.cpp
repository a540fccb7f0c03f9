#include "ui/ListColumns.h"

#include <QTreeWidget>

#include "runtime/Error.h"

namespace ui {

int ColumnByKey(const QTreeWidget& list, const QString& key) {
  const QTreeWidgetItem* header = list.headerItem();
  for (int i = 0; i < header->columnCount(); ++i) {
    if (header->text(i) == key) return i;
  }
  throw runtime::Error(runtime::kInvalidProcedureCall);
}

void FitColumns(QTreeWidget& list) {
  for (int i = 0; i < list.columnCount(); ++i) list.resizeColumnToContents(i);
}

}  // namespace ui
