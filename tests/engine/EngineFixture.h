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
#include "tests/support/Historian.h"
#include "tests/support/ManualTimer.h"
#include "tests/support/TestClock.h"

namespace enginetest {

using Lines = std::vector<std::string>;

runtime::Date At(const char* text);
// The log fields of `error` ("number - description") raised unexpectedly in `procedure`.
std::string Unexpected(const std::string& error, const std::string& procedure);

class EngineTest : public ::testing::Test {
 protected:
  EngineTest();

  // Replaces the current value of `tag` in the historian; no value writes SQL NULL.
  void SetValue(const std::string& tag, std::optional<std::string> value,
                const std::string& timeStamp);
  // Collects from the database at `link` from now on, with empty historian tables.
  void UseHistorian(const std::string& link);
  // Loads a configuration named "Line 1" on the historian, synchronised at 2024-01-01
  // 08:00, 15-minute subgroups, 1-minute retries, followed by `lines`.
  void Load(const Lines& lines);
  void Start();
  // Ticks with the clock at `time`; the first form ticks just after the planned time.
  void TickDue();
  void TickAt(runtime::Date time);
  // The timer is armed for the planned collection time, whatever planned it.
  void ExpectArmed() const;
  // Runs one due collection and returns the log lines it added. The status record must
  // hold the last of them.
  Lines Cycle();

  std::string Next() const;
  Lines LastError() const;
  std::string LogText();
  // The log's lines with the time field left out, fields joined by "|".
  Lines Log();

  testsupport::FakeComponents components;
  testsupport::TestClock clock{At("2024-05-01 10:07:30")};
  Lines hostCalls;  // what the subgroups received
  testsupport::ManualTimer* timer = nullptr;
  std::string historianPath = components.Root().File("historian.db");
  std::string historian =
      testsupport::CreateSqliteDatabase(historianPath, testsupport::kHistorianTables);
  std::shared_ptr<config::Configuration1> configuration =
      std::make_shared<config::Configuration1>(components);
  engine::Engine1 engine{components};
  Lines events;
  const std::string logPath =
      components.FileSystem().JoinPath(components.FileSystem().LogFolder(), "oxaGEPDAD6.LOG");

 private:
  std::vector<runtime::Subscription> subscriptions_;
};

}  // namespace enginetest
