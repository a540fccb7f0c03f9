// The fastest of several runs: what a benchmark compares against its baseline, since
// the slower runs measure the machine's other work as much as the code.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>

namespace bench {

// The fastest of `rounds` runs of `run`, in milliseconds.
template <typename Run>
double BestMilliseconds(Run run, int rounds) {
  double best = 1e300;
  for (int i = 0; i < rounds; ++i) {
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(run());
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    best = std::min(best, took.count());
  }
  return best;
}

}  // namespace bench
