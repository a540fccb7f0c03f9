// Charting one test: a window of 1,000 subgroups of 5 samples is computed (X-bar and R,
// every rule) and drawn (both charts into a 1000 x 700 image), against reading the same
// readings from an SQLite SPC database in the same run, whose subgroups hold 5 tests of 5
// samples each. Prints each time, the files written as PNG and SVG for a look, and the ratio
// of computing and drawing to reading (goal: at most 1).
#include <unistd.h>

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "bench/BestOf.h"
#include "platform/chartpicture/SpcChartPicture.h"
#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcChartReader.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"

namespace {

constexpr int kSubgroups = 1000, kTests = 5, kSamples = 5, kRounds = 7;

// The rows the driver would save, in one transaction: the names first, as the driver makes
// them on its first save.
void Fill(const std::shared_ptr<platform::SpcSession>& session,
          const std::string& connectionString) {
  platform::SpcSubgroup first;
  first.SetDatabase(session);
  first.LookupTestGroup("Fill");
  for (int test = 0; test < kTests; ++test) {
    first.LookupTest("Test " + std::to_string(test));
    first.AddReading(500, 1, 0, "", "");
  }
  first.Save(0);
  platform::OdbcConnection sql;
  sql.Open(connectionString, "", "");
  auto subgroup = sql.Prepare(
      "INSERT INTO subgroups (id, subgroup_time, size, session_number) VALUES (?, ?, ?, 1)");
  auto reading = sql.Prepare(
      "INSERT INTO readings (subgroup_id, ordinal, test_id, sample, value, serial_number,"
      " defect_code) VALUES (?, ?, ?, ?, ?, '', '')");
  std::mt19937 random(7);
  std::normal_distribution<double> weight(500, 1.5);
  const runtime::Date start = runtime::Now();
  sql.BeginTransaction();
  for (int id = 2; id <= kSubgroups + 1; ++id) {
    subgroup->Execute({id, runtime::Date{start.serial + id / 86400.0}, kSamples});
    int ordinal = 0;
    for (int test = 1; test <= kTests; ++test) {
      for (int sample = 1; sample <= kSamples; ++sample) {
        reading->Execute({id, ++ordinal, test, sample, weight(random)});
      }
    }
  }
  sql.Commit();
}

void Measure(const std::string& folder) {
  const std::string connection = "Driver=SQLite3;Database=" + folder + "/spc.db";
  auto owned = std::make_shared<platform::SpcSession>();
  platform::SpcSession& session = *owned;
  session.Initialize(1);
  session.Settings().SetConnection(connection);
  session.Open(1, 0);
  Fill(owned, connection);
  const auto test = platform::FindChartTest(session, "Fill", "Test 0");
  const platform::SpcChartWindow window{.last = kSubgroups};
  const auto subgroups = platform::ReadChartWindow(session, test->id, window);
  if (subgroups.size() != kSubgroups) throw runtime::Error(1, "the window is not full");
  const platform::SpcChartOptions options{.rules = platform::kAllRules};
  const platform::SpcChart chart = platform::ComputeChart(subgroups, options);
  QImage image(1000, 700, QImage::Format_RGB32);

  const double read = bench::BestMilliseconds(
      [&] { return platform::ReadChartWindow(session, test->id, window).size(); }, kRounds);
  const double compute = bench::BestMilliseconds(
      [&] { return platform::ComputeChart(subgroups, options).points.size(); }, kRounds);
  const double draw = bench::BestMilliseconds(
      [&] {
        QPainter painter(&image);
        platform::PaintSpcChart(painter, image.rect(), chart, "Fill/Test 0");
        return image.pixel(500, 350);
      },
      kRounds);
  const double png = bench::BestMilliseconds(
      [&] {
        platform::WriteSpcChartPicture(chart, "Fill/Test 0", folder + "/chart.png");
        return 0;
      },
      3);
  const double svg = bench::BestMilliseconds(
      [&] {
        platform::WriteSpcChartPicture(chart, "Fill/Test 0", folder + "/chart.svg");
        return 0;
      },
      3);
  const double ratio = (compute + draw) / read;
  std::printf(
      "window of %d subgroups of n %d: read %.2f ms, compute %.2f ms, draw %.2f ms "
      "(PNG file %.1f ms, SVG file %.1f ms)\n"
      "compute and draw / read: %.2f %s\n",
      kSubgroups, kSamples, read, compute, draw, png, svg, ratio,
      ratio <= 1 ? "(goal <= 1 met)" : "(goal <= 1 MISSED)");
}

}  // namespace

int main() {
  std::string folder = (std::filesystem::temp_directory_path() / "bench-chart-XXXXXX").string();
  if (!mkdtemp(folder.data())) return 1;
  int argc = 3;
  char name[] = "bench_chart", option[] = "-platform", platform[] = "offscreen";
  char* argv[] = {name, option, platform, nullptr};
  QGuiApplication application(argc, argv);
  int status = 0;
  try {
    Measure(folder);
  } catch (const runtime::Error& e) {
    std::fprintf(stderr, "bench_chart: %s\n", e.Description().c_str());
    status = 1;
  }
  std::filesystem::remove_all(folder);
  return status;
}
