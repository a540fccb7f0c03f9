// The signal thread of `dam run`: a signal asks the loop to quit once and keeps unblocking
// it until the host has stopped; without a signal, ending the watch neither quits nor
// hangs (the thread sleeps in its wait until it is woken).
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "apps/dam/StopSignals.h"

namespace {

using namespace std::chrono_literals;

template <class Condition>
bool WaitFor(Condition condition) {
  for (int i = 0; i < 500 && !condition(); ++i) std::this_thread::sleep_for(10ms);
  return condition();
}

TEST(StopSignalsTest, ASignalQuitsOnceAndUnblocksUntilStoppedNoSignalDoesNothing) {
  struct Case {
    int signal;  // 0: none
    bool stopsBeforeEnd;
  } cases[] = {{0, false}, {SIGTERM, true}, {SIGINT, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.signal);
    std::atomic<int> quits = 0, unblocks = 0;
    {
      dam::StopSignals stop([&] { ++quits; }, [&] { ++unblocks; }, 10ms);
      if (c.signal != 0) {
        kill(getpid(), c.signal);
        ASSERT_TRUE(WaitFor([&] { return quits == 1; }));
        EXPECT_TRUE(stop.Requested());
        ASSERT_TRUE(WaitFor([&] { return unblocks >= 2; })) << "keeps unblocking the loop";
        if (c.stopsBeforeEnd) {
          stop.Stopped();
          const int after = unblocks;
          std::this_thread::sleep_for(50ms);
          EXPECT_LE(unblocks, after + 1) << "no unblocking once the host stopped";
        }
      } else {
        std::this_thread::sleep_for(50ms);
        EXPECT_FALSE(stop.Requested());
      }
    }
    EXPECT_EQ(quits, c.signal != 0 ? 1 : 0) << "the end of the watch is no stop request";
  }
}

}  // namespace
