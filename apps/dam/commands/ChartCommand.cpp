#include <QJsonDocument>
#include <algorithm>
#include <cmath>
#include <iostream>
#include <optional>

#include "apps/dam/Commands.h"
#include "apps/dam/WindowsSide.h"
#include "apps/dam/host/MissingSpcFile.h"
#include "apps/dam/output/ChartJson.h"
#include "apps/shared/CommandLine.h"
#include "apps/shared/Failures.h"
#include "platform/components/PlatformComponents.h"
#include "platform/spcdb/SpcChartReader.h"

namespace dam {
namespace {

using platform::ChartFigure;

apps::UsageError Usage(const std::string& problem) {
  return apps::UsageError(apps::UsageLine("dam chart", problem));
}

std::optional<runtime::Date> Time(const std::string& option, const std::string& text) {
  if (text.empty()) return std::nullopt;
  const std::optional<runtime::Date> time = runtime::ParseDate(text);
  if (!time) throw Usage("--" + option + " '" + text + "' is not a time (yyyy-MM-dd HH:mm:ss)");
  return time;
}

// GROUP/TEST, where either name may hold a slash: the first reading that names a test of
// the database.
std::optional<platform::SpcChartTest> FindTest(platform::SpcSession& session,
                                               const std::string& text) {
  for (size_t slash = text.find('/'); slash != std::string::npos;
       slash = text.find('/', slash + 1)) {
    if (auto test = platform::FindChartTest(session, text.substr(0, slash), text.substr(slash + 1)))
      return test;
  }
  return std::nullopt;
}

std::string Line(const platform::SpcChartLine& line) {
  return "center " + ChartFigure(line.center) + "  ucl " + ChartFigure(line.ucl) + "  lcl " +
         ChartFigure(line.lcl);
}

void PrintChart(const std::string& test, const platform::SpcChart& chart,
                platform::SpcRules rules) {
  const auto leftOut = [&] {
    if (chart.leftOut) std::cout << chart.leftOut << " reading(s) of a defect left out\n";
    if (chart.notFinite) {
      std::cout << chart.notFinite << " reading(s) of no finite value left out\n";
    }
  };
  if (chart.points.empty()) {
    std::cout << test << ": no subgroups in the window\n";
    leftOut();
    return;
  }
  const char* spread = platform::ChartSpreadName(chart.kind);
  // Points go in the order they were saved; a clock set back puts a later one earlier.
  const auto [first, last] =
      std::minmax_element(chart.points.begin(), chart.points.end(),
                          [](const auto& a, const auto& b) { return a.time < b.time; });
  std::cout << test << ": " << platform::ChartKindName(chart.kind) << " chart, n " << chart.n
            << ", " << chart.points.size() << " subgroup(s) from "
            << runtime::FormatGeneralDate(first->time) << " to "
            << runtime::FormatGeneralDate(last->time) << ", rules " << platform::RulesText(rules)
            << "\n"
            << platform::ChartMeanName(chart.kind) << ": " << Line(chart.mean) << "\n"
            << spread << ": " << Line(chart.spread) << "\n";
  size_t otherSizes = 0;
  for (const auto& p : chart.points) otherSizes += p.n != chart.n;
  if (otherSizes) {
    std::cout << otherSizes << " subgroup(s) of another size, with limits by their own size\n";
  }
  leftOut();
  size_t flagged = 0;
  for (const auto& p : chart.points) {
    if (!p.rules && !p.spreadRules) continue;
    std::cout << (flagged++ ? "" : "out of control:\n") << "  "
              << runtime::FormatGeneralDate(p.time);
    if (p.rules) {
      std::cout << "  " << platform::ChartMeanName(chart.kind) << " " << ChartFigure(p.mean)
                << " breaks " << platform::RulesText(p.rules);
    }
    if (p.spreadRules) {
      std::cout << "  " << spread << " " << ChartFigure(p.spread) << " breaks "
                << platform::RulesText(p.spreadRules);
    }
    std::cout << '\n';
  }
  if (flagged) return;
  // A lone individual has no moving range: nothing sets limits to be within.
  if (std::isnan(chart.basis.sigma)) {
    std::cout << "no limits: no subgroup of the window shows a spread to set them by\n";
  } else {
    std::cout << "in control: no point breaks a rule\n";
  }
}

}  // namespace

int ChartCommand(const ChartOptions& options) {
  if (options.test.find('/') == std::string::npos) {
    throw Usage(options.test.empty() ? "missing --test GROUP/TEST"
                                     : "--test '" + options.test + "' is not GROUP/TEST");
  }
  platform::SpcChartWindow window;
  window.from = Time("from", options.from);
  window.to = Time("to", options.to);
  if (options.last && (window.from || window.to)) {
    throw Usage("--last and --from/--to exclude each other");
  }
  if (window.from && window.to && *window.from > *window.to) throw Usage("--from is after --to");
  window.last = static_cast<int32_t>(options.last.value_or(25));
  const std::optional<platform::SpcRules> rules =
      options.rules ? platform::ParseRules(*options.rules) : platform::kDefaultRules;
  if (!rules)
    throw Usage("--rules '" + *options.rules + "' is not a list of rules 1 to 8 (1,2,3,4)");
  const QString out = QString::fromStdString(options.out);
  if (!out.isEmpty() && !out.endsWith(".png", Qt::CaseInsensitive) &&
      !out.endsWith(".svg", Qt::CaseInsensitive)) {
    throw Usage("--out '" + options.out + "' is neither a .png nor an .svg file");
  }
  WindowsSide* const pictures = out.isEmpty() ? nullptr : &RequireWindows("--out");

  platform::PlatformComponents components;
  ReadHostSettings(components);
  const auto host = OpenSpcForReading(components, options.spc);
  auto& session = dynamic_cast<platform::SpcSession&>(*host->Session());
  const auto [test, subgroups] =
      apps::Doing(apps::kExitUnreachable, "cannot read the SPC database", [&] {
        auto found = FindTest(session, options.test);
        if (!found) {
          throw apps::Failure(apps::kExitFailure,
                              "there is no test " + options.test + " in the SPC database");
        }
        return std::pair(*found, platform::ReadChartWindow(session, found->id, window));
      });
  const platform::SpcChart chart = platform::ComputeChart(subgroups, {.rules = *rules});
  const std::string name = test.group + "/" + test.name;
  if (!options.out.empty()) {
    apps::Doing(apps::kExitFailure, "cannot draw the chart",
                [&] { pictures->WriteChartPicture(chart, name, options.out); });
  }
  if (options.json) {
    std::cout << QJsonDocument(ChartJson(name, chart, *rules))
                     .toJson(QJsonDocument::Indented)
                     .toStdString();
  } else {
    PrintChart(name, chart, *rules);
  }
  return 0;
}

}  // namespace dam
