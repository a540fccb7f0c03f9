#include "platform/chartpicture/SpcChartPicture.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainterPath>
#include <QSvgGenerator>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "runtime/Error.h"

namespace platform {
namespace {

const QColor kPoints(31, 92, 153), kCenter(40, 140, 60), kLimits(190, 50, 50), kFlagged(230, 0, 0),
    kText(40, 40, 40), kFrame(160, 160, 160);
constexpr double kRightMargin = 120, kTitleHeight = 30, kAxisHeight = 22;

QString Figure(double value) {
  return QString::fromStdString(ChartFigure(value));
}

// One of the two charts: the values it shows and the lines of each point.
struct Series {
  std::function<double(const SpcChartPoint&)> value;
  std::function<const SpcChartLine&(const SpcChartPoint&)> lines;
  std::function<SpcRules(const SpcChartPoint&)> rules;
  const SpcChartLine& shown;  // the lines labelled at the right: those of n samples
  QString name;
};

// The values' span with a margin, never empty.
std::pair<double, double> Span(const SpcChart& chart, const Series& series) {
  double low = INFINITY, high = -INFINITY;
  const auto take = [&](double v) {
    if (std::isfinite(v)) low = std::min(low, v), high = std::max(high, v);
  };
  for (const SpcChartPoint& p : chart.points) {
    take(series.value(p));
    take(series.lines(p).ucl);
    take(series.lines(p).lcl);
    take(series.lines(p).center);
  }
  if (!(low <= high)) low = 0, high = 1;
  const double margin = high > low ? (high - low) * 0.08 : std::max(std::fabs(high) * 0.1, 1.0);
  return {low - margin, high + margin};
}

void PaintSeries(QPainter& painter, const QRectF& box, const SpcChart& chart,
                 const Series& series) {
  painter.setPen(kText);
  painter.drawText(box.adjusted(4, 2, 0, 0), Qt::AlignLeft | Qt::AlignTop, series.name);
  const QRectF plot = box.adjusted(0, 18, -kRightMargin, -4);
  painter.setPen(kFrame);
  painter.drawRect(plot);
  const auto [low, high] = Span(chart, series);
  const auto y = [&](double v) { return plot.bottom() - (v - low) / (high - low) * plot.height(); };
  const double step = plot.width() / static_cast<double>(std::max<size_t>(chart.points.size(), 1));
  const auto x = [&](size_t i) { return plot.left() + (static_cast<double>(i) + 0.5) * step; };

  // Lines as steps, since a subgroup of another size has limits of its own; a step only
  // where the value changes, so that a long window of one size draws one segment.
  const auto line = [&](double SpcChartLine::*which, const QPen& pen) {
    painter.setPen(pen);
    QPolygonF steps;
    const auto flush = [&] {
      if (steps.size() > 1) painter.drawPolyline(steps);
      steps.clear();
    };
    for (size_t i = 0; i < chart.points.size(); ++i) {
      const double v = series.lines(chart.points[i]).*which;
      if (!std::isfinite(v)) {
        flush();
        continue;
      }
      if (steps.empty() || steps.back().y() != y(v)) {
        if (!steps.empty()) steps.append(QPointF(x(i) - step / 2, steps.back().y()));
        steps.append(QPointF(x(i) - step / 2, y(v)));
      }
    }
    if (!steps.empty())
      steps.append(QPointF(x(chart.points.size() - 1) + step / 2, steps.back().y()));
    flush();
  };
  line(&SpcChartLine::center, QPen(kCenter, 1.5));
  line(&SpcChartLine::ucl, QPen(kLimits, 1.2, Qt::DashLine));
  line(&SpcChartLine::lcl, QPen(kLimits, 1.2, Qt::DashLine));
  painter.setPen(kText);
  const std::pair<const char*, double> labels[] = {
      {"UCL ", series.shown.ucl}, {"CL ", series.shown.center}, {"LCL ", series.shown.lcl}};
  // Lines that meet (a process without spread has UCL = CL = LCL) would print their labels
  // over each other: each goes at least a line below the one above it.
  const double gap = painter.fontMetrics().height();
  double above = -INFINITY;
  for (const auto& [label, v] : labels) {
    if (!std::isfinite(v)) continue;
    const double at = std::max(y(v), above + gap);
    painter.drawText(QRectF(plot.right() + 6, at - 9, kRightMargin - 8, 18),
                     Qt::AlignLeft | Qt::AlignVCenter, label + Figure(v));
    above = at;
  }

  // Segment by segment: stroked as one polyline, a zigzag of a thousand points costs the
  // raster engine twenty times as much.
  std::vector<QLineF> joined;
  for (size_t i = 1; i < chart.points.size(); ++i) {
    const double from = series.value(chart.points[i - 1]), to = series.value(chart.points[i]);
    if (std::isfinite(from) && std::isfinite(to))
      joined.emplace_back(x(i - 1), y(from), x(i), y(to));
  }
  painter.setPen(QPen(kPoints, 1.2));
  painter.drawLines(joined.data(), static_cast<int>(joined.size()));
  // Dots where they stand apart from the line, and always for a point without neighbours.
  const double radius = std::clamp(step / 4, 1.0, 3.0);
  const auto valueAt = [&](size_t i) {
    return i < chart.points.size() ? series.value(chart.points[i]) : NAN;
  };
  painter.setBrush(kPoints);
  for (size_t i = 0; i < chart.points.size(); ++i) {
    const bool alone = !std::isfinite(valueAt(i - 1)) && !std::isfinite(valueAt(i + 1));
    if (std::isfinite(valueAt(i)) && (step >= 4 || alone)) {
      painter.drawEllipse(QPointF(x(i), y(valueAt(i))), radius, radius);
    }
  }
  // Flagged points last, over the others, with their rules where there is room to read them.
  painter.setBrush(kFlagged);
  for (size_t i = 0; i < chart.points.size(); ++i) {
    const SpcChartPoint& p = chart.points[i];
    const SpcRules rules = series.rules(p);
    if (!rules) continue;
    const QPointF at(x(i), y(series.value(p)));
    painter.setPen(kFlagged);
    painter.drawEllipse(at, radius + 2, radius + 2);
    if (step < 6) continue;
    const bool above = series.value(p) >= series.lines(p).center;
    painter.drawText(QRectF(at.x() - 30, above ? at.y() - 22 : at.y() + 6, 60, 16), Qt::AlignCenter,
                     QString::fromStdString(RulesText(rules)));
  }
  painter.setBrush(Qt::NoBrush);
}

void PaintTimes(QPainter& painter, const QRectF& box, const SpcChart& chart) {
  if (chart.points.empty()) return;
  painter.setPen(kText);
  const QRectF axis = box.adjusted(0, 0, -kRightMargin, 0);
  const auto time = [&](const SpcChartPoint& p) {
    return QString::fromStdString(runtime::FormatGeneralDate(p.time));
  };
  painter.drawText(axis, Qt::AlignLeft | Qt::AlignVCenter, time(chart.points.front()));
  if (chart.points.size() > 1) {
    painter.drawText(axis, Qt::AlignRight | Qt::AlignVCenter, time(chart.points.back()));
  }
}

QtMessageHandler previousHandler = nullptr;

// Made outside a desktop session (cron, a service, sudo), the application says that
// XDG_RUNTIME_DIR is not set and takes a folder of its own, which a picture drawn offscreen
// never uses: a line on stderr, mailed by cron every day, that asks nothing of anyone.
void WithoutRuntimeFolderNotice(QtMsgType type, const QMessageLogContext& context,
                                const QString& message) {
  if (message.startsWith("QStandardPaths: XDG_RUNTIME_DIR not set")) return;
  if (previousHandler) return previousHandler(type, context, message);
  std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
}

// Runs `draw` with a GUI application there, the offscreen one made for the while when the
// program has none (text needs one).
void WithGuiApplication(const std::function<void()>& draw) {
  if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) return draw();
  if (QCoreApplication::instance()) {
    throw runtime::Error(runtime::kInvalidProcedureCall,
                         "charts are drawn in a program without windows only before it starts "
                         "its event loop",
                         "WriteSpcChartPicture");
  }
  static int argc = 3;
  static char name[] = "dam", option[] = "-platform", platform[] = "offscreen";
  static char* argv[] = {name, option, platform, nullptr};
  previousHandler = qInstallMessageHandler(WithoutRuntimeFolderNotice);
  QGuiApplication application(argc, argv);
  qInstallMessageHandler(previousHandler);
  draw();
}

// A write cut short by a full disk is an error, and leaves no file that looks like a chart.
void WritePicture(const QString& path, const QByteArray& bytes) {
  QFile file(path);
  const bool opened = file.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
  if (opened && file.write(bytes) == bytes.size()) {
    file.close();
    if (file.error() == QFileDevice::NoError) return;
  }
  const std::string reason = file.errorString().toStdString();
  file.close();
  std::error_code error;
  const std::filesystem::path name = path.toStdString();
  if (opened && std::filesystem::is_regular_file(std::filesystem::symlink_status(name, error))) {
    std::filesystem::remove(name, error);
  }
  throw runtime::Error(runtime::kPathFileAccessError,
                       "cannot write the chart to " + name.string() + ": " + reason,
                       "WriteSpcChartPicture");
}

}  // namespace

void PaintSpcChart(QPainter& painter, const QRectF& area, const SpcChart& chart,
                   const QString& title) {
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.fillRect(area, Qt::white);
  painter.setPen(kText);
  QFont bold = painter.font();
  bold.setBold(true);
  painter.setFont(bold);
  painter.drawText(
      area.adjusted(6, 0, -6, 0).adjusted(0, 0, 0, kTitleHeight - area.height()),
      Qt::AlignLeft | Qt::AlignVCenter,
      title + "   " +
          (chart.points.empty()
               ? QString("no subgroups")
               : ChartKindName(chart.kind) + QString(" chart, n ") + QString::number(chart.n) +
                     ", " + QString::number(chart.points.size()) + " subgroups"));
  bold.setBold(false);
  painter.setFont(bold);
  const QRectF charts = area.adjusted(6, kTitleHeight, -6, -kAxisHeight);
  const double half = charts.height() / 2;
  const Series mean{[](const SpcChartPoint& p) { return p.mean; },
                    [](const SpcChartPoint& p) -> const SpcChartLine& { return p.meanLimits; },
                    [](const SpcChartPoint& p) { return p.rules; }, chart.mean,
                    ChartMeanName(chart.kind)};
  const Series spread{[](const SpcChartPoint& p) { return p.spread; },
                      [](const SpcChartPoint& p) -> const SpcChartLine& { return p.spreadLimits; },
                      [](const SpcChartPoint& p) { return p.spreadRules; }, chart.spread,
                      ChartSpreadName(chart.kind)};
  PaintSeries(painter, QRectF(charts.left(), charts.top(), charts.width(), half), chart, mean);
  PaintSeries(painter, QRectF(charts.left(), charts.top() + half, charts.width(), half), chart,
              spread);
  PaintTimes(painter, QRectF(charts.left(), charts.bottom(), charts.width(), kAxisHeight), chart);
  painter.restore();
}

void WriteSpcChartPicture(const SpcChart& chart, const std::string& title, const std::string& path,
                          QSize size) {
  const QString file = QString::fromStdString(path);
  const bool svg = file.endsWith(".svg", Qt::CaseInsensitive);
  if (!svg && !file.endsWith(".png", Qt::CaseInsensitive)) {
    throw runtime::Error(runtime::kInvalidProcedureCall,
                         "a chart is written as .png or .svg, not as " + path,
                         "WriteSpcChartPicture");
  }
  // Drawn in memory first: the SVG generator does not report a failed write.
  QBuffer picture;
  picture.open(QIODevice::WriteOnly);
  bool drawn = false;
  WithGuiApplication([&] {
    const QRectF area(QPointF(0, 0), QSizeF(size));
    const QString name = QString::fromStdString(title);
    if (svg) {
      QSvgGenerator generator;
      generator.setOutputDevice(&picture);
      generator.setSize(size);
      generator.setViewBox(area);
      // The generator puts the title into the document as it gets it.
      generator.setTitle(name.toHtmlEscaped());
      QPainter painter;
      if (!painter.begin(&generator)) return;
      PaintSpcChart(painter, area, chart, name);
      drawn = painter.end();
    } else {
      QImage image(size, QImage::Format_RGB32);
      QPainter painter(&image);
      PaintSpcChart(painter, area, chart, name);
      painter.end();
      drawn = image.save(&picture, "PNG");
    }
  });
  if (!drawn) {
    throw runtime::Error(runtime::kPathFileAccessError, "cannot draw the chart for " + path,
                         "WriteSpcChartPicture");
  }
  WritePicture(file, picture.data());
}

}  // namespace platform
