#include "apps/dam/output/ChartJson.h"

#include <QJsonArray>
#include <cmath>

#include "apps/dam/output/JsonOutput.h"

namespace dam {
namespace {

QJsonValue Figure(double value) {
  return std::isfinite(value) ? QJsonValue(value) : QJsonValue(QJsonValue::Null);
}

QJsonObject Line(const platform::SpcChartLine& line) {
  return {{"center", Figure(line.center)}, {"ucl", Figure(line.ucl)}, {"lcl", Figure(line.lcl)}};
}

QJsonArray Numbers(platform::SpcRules rules) {
  QJsonArray numbers;
  for (int rule : platform::RuleNumbers(rules)) numbers.append(rule);
  return numbers;
}

}  // namespace

QJsonObject ChartJson(const std::string& test, const platform::SpcChart& chart,
                      platform::SpcRules rules) {
  QJsonArray points;
  for (const platform::SpcChartPoint& p : chart.points) {
    points.append(QJsonObject{{"id", static_cast<qint64>(p.id)},
                              {"time", QString::fromStdString(IsoTime(p.time))},
                              {"n", p.n},
                              {"mean", Figure(p.mean)},
                              {"spread", Figure(p.spread)},
                              {"ucl", Figure(p.meanLimits.ucl)},
                              {"lcl", Figure(p.meanLimits.lcl)},
                              {"spread_center", Figure(p.spreadLimits.center)},
                              {"spread_ucl", Figure(p.spreadLimits.ucl)},
                              {"spread_lcl", Figure(p.spreadLimits.lcl)},
                              {"rules", Numbers(p.rules)},
                              {"spread_rules", Numbers(p.spreadRules)}});
  }
  return QJsonObject{{"schema", kJsonSchema},
                     {"test", QString::fromStdString(test)},
                     {"chart", platform::ChartKindName(chart.kind)},
                     {"n", chart.n},
                     {"subgroups", static_cast<int>(chart.points.size())},
                     {"left_out", chart.leftOut},
                     {"not_finite", chart.notFinite},
                     {"rules", Numbers(rules)},
                     {"mean", Line(chart.mean)},
                     {"spread", Line(chart.spread)},
                     {"points", points}};
}

}  // namespace dam
