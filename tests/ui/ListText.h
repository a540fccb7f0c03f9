// Report-style lists read back as text: one string per row, columns joined by " | ".
#pragma once

#include <QTreeWidget>
#include <string>
#include <vector>

namespace uitest {

inline std::vector<std::string> Rows(const QTreeWidget& list) {
  std::vector<std::string> rows;
  for (int i = 0; i < list.topLevelItemCount(); ++i) {
    std::string row;
    for (int column = 0; column < list.columnCount(); ++column) {
      row += (column ? " | " : "") + list.topLevelItem(i)->text(column).toStdString();
    }
    rows.push_back(row);
  }
  return rows;
}

}  // namespace uitest
