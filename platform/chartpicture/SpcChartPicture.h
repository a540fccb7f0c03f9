// Pictures of control charts: the mean (or individuals) chart above the spread chart, each
// with its points joined, its centre line and limits, and the points that break a rule
// marked with the rules' numbers. Used by the windows and by `dam chart --out`; the only
// part of charting that needs Qt's painting.
#pragma once

#include <QPainter>
#include <QRectF>
#include <QSize>
#include <QString>
#include <string>

#include "platform/spcdb/SpcChart.h"

namespace platform {

// Draws `chart` under `title` into `area`, on a white background.
void PaintSpcChart(QPainter& painter, const QRectF& area, const SpcChart& chart,
                   const QString& title);

// Writes the picture of `chart` to `path`: SVG when its name ends in .svg, PNG when it ends
// in .png (either in any case). Needs no display: without a GUI application one is made on
// the offscreen platform for the while. Throws runtime::Error for another name or a file
// that cannot be written to the end (a full disk); a file cut short is removed.
void WriteSpcChartPicture(const SpcChart& chart, const std::string& title, const std::string& path,
                          QSize size = {1000, 700});

}  // namespace platform
