#include "apps/dam/windows/ChartView.h"

#include <QPainter>

#include "platform/chartpicture/SpcChartPicture.h"

namespace dam {

ChartView::ChartView(QWidget* parent) : QWidget(parent) {
  chart_ = platform::ComputeChart({});
}

void ChartView::SetChart(const platform::SpcChart& chart, const QString& title) {
  chart_ = chart;
  title_ = title;
  update();
}

void ChartView::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  platform::PaintSpcChart(painter, rect(), chart_, title_);
}

}  // namespace dam
