// A control chart on screen: the picture `dam chart --out` draws, at the widget's size.
#pragma once

#include <QString>
#include <QWidget>

#include "platform/spcdb/SpcChart.h"

namespace dam {

class ChartView : public QWidget {
 public:
  explicit ChartView(QWidget* parent = nullptr);

  void SetChart(const platform::SpcChart& chart, const QString& title);

  QSize sizeHint() const override { return {720, 480}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  platform::SpcChart chart_{};
  QString title_;
};

}  // namespace dam
