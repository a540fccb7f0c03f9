// Loading the tag browser's list from an SQLite historian of 100,000 tags through the
// "SQLite3" ODBC driver, shown on the offscreen platform. The baseline is the bare query:
// the same statement through the same ODBC layer on a new connection, every name read
// into a string. After the benchmarks the program prints the load's ratio to its
// baseline (goal: at most 3).
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QPushButton>
#include <QTreeWidget>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

#include "platform/odbc/OdbcConnection.h"
#include "runtime/Variant.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/Historian.h"
#include "ui/frmTagSetup.h"

namespace {

constexpr int kTags = 100000;
constexpr char kQuery[] = "SELECT Tagname FROM ihTags ORDER BY Tagname";

testsupport::FakeComponents& Components() {
  static testsupport::FakeComponents components;
  return components;
}

const std::string& Historian() {
  static const std::string link = [] {
    const std::string made = testsupport::CreateSqliteDatabase(
        Components().Root().File("historian.db"), testsupport::kHistorianTables);
    platform::OdbcConnection connection;
    connection.Open(made, "", "");
    connection.Execute(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) "
        "INSERT INTO ihTags SELECT 'Area' || (i % 97) || '.Tag' || i FROM n",
        std::vector<runtime::Variant>{kTags});
    return made;
  }();
  return link;
}

void BareQuery() {
  platform::OdbcConnection connection;
  connection.Open(Historian(), "", "");
  std::vector<std::string> names;
  for (auto rs = connection.Execute(kQuery); !rs->Eof(); rs->MoveNext()) {
    names.push_back(runtime::ToText(rs->Field("Tagname")));
  }
  benchmark::DoNotOptimize(names.data());
}

ui::frmTagSetup& Browser() {
  static ui::frmTagSetup* form = [] {
    auto* made = new ui::frmTagSetup(Components());
    made->SetDataLink(Historian());
    made->Form_Load();
    made->show();
    return made;
  }();
  return *form;
}

void BrowserLoad() {
  ui::frmTagSetup& form = Browser();
  form.findChild<QPushButton*>("bnRefresh")->click();
  QApplication::processEvents();
  if (form.findChild<QTreeWidget*>("ListView1")->topLevelItemCount() != kTags) std::abort();
}

void BM_BareQuery(benchmark::State& state) {
  for (auto _ : state) BareQuery();
}
BENCHMARK(BM_BareQuery)->Unit(benchmark::kMillisecond);

void BM_TagBrowserLoad(benchmark::State& state) {
  for (auto _ : state) BrowserLoad();
}
BENCHMARK(BM_TagBrowserLoad)->Unit(benchmark::kMillisecond);

double MedianMilliseconds(const std::function<void()>& run) {
  std::vector<double> times;
  for (int i = 0; i < 7; ++i) {
    const auto start = std::chrono::steady_clock::now();
    run();
    times.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
            .count());
  }
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM",
          qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
  QApplication application(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  const double baseline = MedianMilliseconds(BareQuery);
  const double load = MedianMilliseconds(BrowserLoad);
  std::printf("tag browser, %d tags: load %.1f ms, bare query %.1f ms, ratio %.2f (goal <= 3)\n",
              kTags, load, baseline, load / baseline);
  return 0;
}
