// Resolving a template that holds 32,000 tag references in one field, 100 tags with
// values and timestamps, some spelt in another case. Measured as the whole collection
// cycle that resolves it (a 100-tag query on an SQLite historian, a descriptor holding the
// template, a save into a recording subgroup) against a baseline that copies the same
// text and finds every reference marker in it. The last lines printed are the cycle's
// time (goal: under 50 ms) and its ratio to the baseline.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/BestOf.h"
#include "config/Configuration1.h"
#include "engine/Engine1.h"
#include "runtime/Text.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/Historian.h"
#include "tests/support/ManualTimer.h"
#include "tests/support/RecordingSubgroup.h"
#include "tests/support/TestClock.h"

namespace {

constexpr int kRounds = 20;

constexpr int kReferences = 32000;
constexpr int kTags = 100;

std::string Tag(int i) {
  return "Line3.Tag" + std::to_string(i % kTags);
}

// References of every form, each followed by a separator.
const std::string& Template() {
  static const std::string text = [] {
    std::string made;
    for (int i = 0; i < kReferences; ++i) {
      switch (i % 4) {
        case 0:
          made += "%TAG(" + Tag(i) + ")";
          break;
        case 1:
          made += "%TAG(Value, " + runtime::ToUpper(Tag(i)) + ")";
          break;
        case 2:
          made += "%TAG(Date, " + Tag(i) + ")";
          break;
        default:
          made += "%tag(" + Tag(i) + ")";
      }
      made += i % 2 ? "/" : "";
    }
    return made;
  }();
  return text;
}

// A started engine on an SQLite historian whose every Cycle() collects once.
class Collector {
 public:
  Collector() {
    std::vector<std::string> rows = testsupport::kHistorianTables;
    rows.push_back("WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                   std::to_string(kTags - 1) +
                   ") INSERT INTO ihRawData SELECT 'Line3.Tag' || i, '2024-05-01 10:00:00', "
                   "i + 0.5, 'CurrentValue' FROM n");
    const std::string link =
        testsupport::CreateSqliteDatabase(components_.Root().File("historian.db"), rows);
    components_.timerFactory = testsupport::ManualTimers(timer_);
    components_.subgroupFactory = [this] {
      return std::make_unique<testsupport::RecordingSubgroup>(calls_);
    };
    configuration_->SetData(
        "NAME=Bench\r\nACTIVE=1\r\nDATALINK=" + link +
        "\r\nSYNCTIME=1704096000\r\nSUBGROUPINTERVAL=15\r\nSUBGROUPUNIT=1\r\nRETRYINTERVAL=1"
        "\r\nRETRYUNIT=1\r\nDESCRIPTOR=7\tNotes\t" +
        Template());
    engine_.StartEngine(configuration_);
  }

  // Length of the resolved text; 0 when the cycle did not save.
  size_t Cycle() {
    calls_.clear();
    clock_.Set(runtime::Date{engine_.NextCollectionTime().serial + 0.1 / 86400});
    const int32_t saved = engine_.SavedSubgroups();
    timer_->Tick();
    if (engine_.SavedSubgroups() != saved + 1) return 0;
    return configuration_->GetDescriptorItem(1)->ResolvedItem(1).size();
  }
  std::string Error() const {
    return engine_.LastErrorDescription() + " / " + engine_.LastErrorDetail();
  }

 private:
  testsupport::FakeComponents components_;
  testsupport::TestClock clock_{runtime::ParseDate("2024-05-01 10:07:30").value()};
  std::vector<std::string> calls_;
  testsupport::ManualTimer* timer_ = nullptr;
  std::shared_ptr<config::Configuration1> configuration_ =
      std::make_shared<config::Configuration1>(components_);
  engine::Engine1 engine_{components_};
};

size_t ScanBaseline() {
  const std::string copy = Template();
  size_t markers = 0;
  for (size_t at = copy.find("%TAG("); at != std::string::npos; at = copy.find("%TAG(", at + 1)) {
    ++markers;
  }
  return markers + copy.size();
}

void BM_ResolutionCycle(benchmark::State& state) {
  Collector collector;
  for (auto _ : state) {
    if (collector.Cycle() == 0) {
      state.SkipWithError(collector.Error().c_str());
      break;
    }
  }
}
BENCHMARK(BM_ResolutionCycle)->Unit(benchmark::kMillisecond);

void BM_ScanBaseline(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(ScanBaseline());
}
BENCHMARK(BM_ScanBaseline)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  Collector collector;
  size_t resolved = 0;
  const double cycle =
      bench::BestMilliseconds([&] { return resolved = collector.Cycle(); }, kRounds);
  const double scan = bench::BestMilliseconds(ScanBaseline, kRounds);
  if (resolved == 0) {
    std::printf("the cycle failed: %s\n", collector.Error().c_str());
    return 1;
  }
  std::printf(
      "%d references in one field (%zu bytes, %zu resolved): cycle %.2f ms "
      "(goal: under 50 ms), copy-and-scan baseline %.3f ms\n",
      kReferences, Template().size(), resolved, cycle, scan);
  std::printf("ratio cycle / baseline: %.1f\n", cycle / scan);
  return 0;
}
