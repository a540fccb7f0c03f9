// An engine on fake host components with a manual timer, a test clock and a recording
// subgroup, collecting from a real SQLite historian file through the "SQLite3" driver.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/Configuration1.h"
#include "engine/Engine1.h"
#include "runtime/Date.h"
#include "runtime/Event.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/ManualTimer.h"
#include "tests/support/RecordingSubgroup.h"
#include "tests/support/TestClock.h"

namespace enginetest {

using Lines = std::vector<std::string>;

runtime::Date At(const char* text);

class EngineTest : public ::testing::Test {
 protected:
  EngineTest();

  // Replaces the current value of `tag` in the historian; no value writes SQL NULL.
  void SetValue(const std::string& tag, std::optional<std::string> value,
                const std::string& timeStamp);
  // Loads a configuration named "Line 1" on the historian, synchronised at 2024-01-01
  // 08:00, 15-minute subgroups, 1-minute retries, followed by `lines`.
  void Load(const std::vector<std::string>& lines, const std::string& dataLink = "");
  void Start();
  // Ticks with the clock at `time`; the first form ticks just after the planned time.
  void TickDue();
  void TickAt(runtime::Date time);

  std::vector<std::string> LastError() const;
  std::vector<std::string> LogLines();
  // A log line as the engine writes it for the configuration "Line 1", time stripped.
  static std::string WithoutTime(const std::string& line);

  testsupport::FakeComponents components;
  testsupport::TestClock clock{At("2024-05-01 10:07:30")};
  std::shared_ptr<testsupport::SubgroupCalls> subgroup =
      std::make_shared<testsupport::SubgroupCalls>();
  testsupport::ManualTimer* timer = nullptr;
  std::string historianPath;
  std::string historian;
  std::shared_ptr<config::Configuration1> configuration;
  engine::Engine1 engine{components};
  std::vector<std::string> events;

 private:
  std::vector<runtime::Subscription> subscriptions_;
};

}  // namespace enginetest
