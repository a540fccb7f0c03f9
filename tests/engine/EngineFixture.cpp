#include "tests/engine/EngineFixture.h"

#include <fstream>
#include <iterator>

#include "platform/odbc/OdbcConnection.h"
#include "runtime/Text.h"
#include "tests/support/RecordingSubgroup.h"

namespace enginetest {

runtime::Date At(const char* text) {
  return runtime::ParseDate(text).value();
}

std::string Unexpected(const std::string& error, const std::string& procedure) {
  return error + "|An unexpected error occurred|Function: Engine1." + procedure +
         " generated an unexpected error.";
}

EngineTest::EngineTest() {
  components.timerFactory = testsupport::ManualTimers(timer);
  components.subgroupFactory = [this] {
    return std::make_unique<testsupport::RecordingSubgroup>(hostCalls);
  };
  const std::pair<runtime::Event<>*, const char*> named[] = {
      {&engine.EngineStarted, "EngineStarted"},
      {&engine.EngineStopped, "EngineStopped"},
      {&engine.CollectionError, "CollectionError"},
      {&engine.CollectionTimeSet, "CollectionTimeSet"},
      {&engine.DescriptorsRefreshed, "DescriptorsRefreshed"},
      {&engine.TestsRefreshed, "TestsRefreshed"},
      {&engine.TagsRefreshed, "TagsRefreshed"},
      {&engine.ConditionsRefreshed, "ConditionsRefreshed"},
      {&engine.SubgroupSaved, "SubgroupSaved"}};
  for (const auto& [event, name] : named) {
    subscriptions_.push_back(event->Subscribe([this, name = name] { events.push_back(name); }));
  }
}

void EngineTest::SetValue(const std::string& tag, std::optional<std::string> value,
                          const std::string& timeStamp) {
  platform::OdbcConnection connection;
  connection.Open(historian, "", "");
  connection.Execute("DELETE FROM ihRawData WHERE Tagname=?", std::vector<runtime::Variant>{tag});
  connection.Execute(
      "INSERT INTO ihRawData VALUES (?, ?, ?, 'CurrentValue')",
      {tag, timeStamp, value ? runtime::Variant(*value) : runtime::Variant(runtime::Null)});
}

void EngineTest::UseHistorian(const std::string& link) {
  platform::OdbcConnection connection;
  connection.Open(link, "", "");
  for (const char* table : {"ihRawData", "ihTags"})
    connection.Execute(std::string("DROP TABLE IF EXISTS ") + table);
  for (const std::string& statement : testsupport::kHistorianTables) connection.Execute(statement);
  historian = link;
}

void EngineTest::Load(const Lines& lines) {
  const int32_t sync = runtime::DateToSerialTime(At("2024-01-01 08:00:00"));
  std::string text = "NAME=Line 1\r\nACTIVE=1\r\nDATALINK=" + historian +
                     "\r\nSYNCTIME=" + std::to_string(sync) +
                     "\r\nSUBGROUPINTERVAL=15\r\nSUBGROUPUNIT=1\r\nRETRYINTERVAL=1\r\nRETRYUNIT=1";
  for (const std::string& line : lines) text += "\r\n" + line;
  configuration->SetData(text);
}

void EngineTest::Start() {
  ASSERT_TRUE(engine.StartEngine(configuration));
  ExpectArmed();
  events.clear();
}

void EngineTest::ExpectArmed() const {
  EXPECT_EQ(timer->armedFor, engine.NextCollectionTime()) << "the timer sleeps until then";
}

void EngineTest::TickDue() {
  TickAt(runtime::Date{engine.NextCollectionTime().serial + 0.1 / 86400});
}

void EngineTest::TickAt(runtime::Date time) {
  clock.Set(time);
  timer->Tick();
  if (engine.IsRunning()) ExpectArmed();
}

Lines EngineTest::Cycle() {
  const size_t before = Log().size();
  TickDue();
  Lines added = Log();
  added.erase(added.begin(), added.begin() + before);
  if (!added.empty()) {
    EXPECT_EQ(added.back(), "Line 1|" + runtime::Join(LastError(), "|"));
  }
  return added;
}

std::string EngineTest::Next() const {
  return runtime::FormatGeneralDate(engine.NextCollectionTime());
}

Lines EngineTest::LastError() const {
  return {engine.LastErrorDescription(), engine.LastErrorDetail(), engine.LastErrorExtended()};
}

std::string EngineTest::LogText() {
  std::ifstream file(logPath, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Lines EngineTest::Log() {
  Lines lines = runtime::Split(LogText(), "\r\n");
  lines.pop_back();  // after the last CR LF
  for (std::string& line : lines) {
    Lines fields = runtime::Split(line, "\t");
    if (fields.size() > 1) fields.erase(fields.begin() + 1);
    line = runtime::Join(fields, "|");
  }
  return lines;
}

}  // namespace enginetest
