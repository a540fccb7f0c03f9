// A control chart as JSON, the shape `dam chart --json` prints and the README documents.
#pragma once

#include <QJsonObject>
#include <string>

#include "platform/spcdb/SpcChart.h"

namespace dam {

// Keys: schema, test ("GROUP/TEST"), chart ("xbar-r", "xbar-s", "i-mr"), n (the most
// common sample count), subgroups (points), left_out (readings of a defect), rules (those
// judged), mean and spread ({"center", "ucl", "lcl"} for n samples), points ([{"id",
// "time", "n", "mean", "spread", "ucl", "lcl", "spread_center", "spread_ucl", "spread_lcl",
// "rules", "spread_rules"}], a point's own limits by its own n). A figure the window cannot
// tell (a spread of one sample) is null.
QJsonObject ChartJson(const std::string& test, const platform::SpcChart& chart,
                      platform::SpcRules rules);

}  // namespace dam
