// Reading and writing a large configuration: 5,000 items over 2,500 tags, half the
// references naming a tag already met in another case. SetData then GetData is measured
// against a baseline that only splits the same text into lines and tab fields; the last
// line printed is their ratio.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/BestOf.h"
#include "config/Configuration1.h"
#include "runtime/Text.h"
#include "tests/support/FakeComponents.h"

namespace {

constexpr int kRounds = 30;

// Item i references tag i mod 2,500; the second half spells it in upper case.
std::string ConfigurationText() {
  constexpr int kItems = 5000, kTags = 2500;
  std::string text =
      "NAME=Bench\r\nACTIVE=1\r\nDATALINK=\r\nSYNCTIME=0\r\nSUBGROUPINTERVAL=15\r\n"
      "SUBGROUPUNIT=1\r\nRETRYINTERVAL=1\r\nRETRYUNIT=1";
  for (int i = 0; i < kItems; ++i) {
    std::string tag =
        "Plant.Line" + std::to_string(i % kTags / 100) + ".tag" + std::to_string(i % kTags);
    if (i >= kTags) tag = runtime::ToUpper(tag);
    switch (i % 5) {
      case 0:
        text += "\r\nDESCRIPTOR=1\tParts\t%TAG(" + tag + ")";
        break;
      case 4:
        text += "\r\nCONDITION=1\t%TAG(" + tag + ")\t3\t10";
        break;
      default:
        text +=
            "\r\nTEST=Weights\tNet weight " + std::to_string(i) + "\t%TAG(Value, " + tag + ")\t";
    }
  }
  return text;
}

const std::string& Text() {
  static const std::string text = ConfigurationText();
  return text;
}

size_t SetDataGetData(config::Configuration1& configuration) {
  configuration.SetData(Text());
  return configuration.GetData().size() + configuration.TagItems().Count();
}

size_t SplitBaseline() {
  size_t fields = 0;
  for (const std::string& line : runtime::Split(Text(), "\r\n")) {
    fields += runtime::Split(line, "\t").size();
  }
  return fields;
}

void BM_SetDataGetData(benchmark::State& state) {
  testsupport::FakeComponents components;
  config::Configuration1 configuration(components);
  for (auto _ : state) benchmark::DoNotOptimize(SetDataGetData(configuration));
  state.counters["tag items"] = configuration.TagItems().Count();
}
BENCHMARK(BM_SetDataGetData)->Unit(benchmark::kMillisecond);

void BM_SplitBaseline(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(SplitBaseline());
}
BENCHMARK(BM_SplitBaseline)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  testsupport::FakeComponents components;
  config::Configuration1 configuration(components);
  const double config =
      bench::BestMilliseconds([&] { return SetDataGetData(configuration); }, kRounds);
  const double split = bench::BestMilliseconds(SplitBaseline, kRounds);
  std::printf("SetData+GetData: %.2f ms (%d tag items), split baseline: %.2f ms\n", config,
              configuration.TagItems().Count(), split);
  std::printf("ratio SetData+GetData / split baseline: %.1f\n", config / split);
  return 0;
}
