#include "tests/engine/EngineFixture.h"

#include <fstream>
#include <sstream>

#include "platform/odbc/OdbcConnection.h"
#include "runtime/Text.h"
#include "tests/support/Historian.h"

namespace enginetest {

runtime::Date At(const char* text) {
  return runtime::ParseDate(text).value();
}

EngineTest::EngineTest() {
  components.timerFactory = [this] {
    auto created = std::make_unique<testsupport::ManualTimer>();
    timer = created.get();
    return created;
  };
  components.subgroupFactory = [this] {
    return std::make_unique<testsupport::RecordingSubgroup>(subgroup);
  };
  historianPath = components.Root().File("historian.db");
  historian = testsupport::CreateSqliteDatabase(
      historianPath,
      {"CREATE TABLE ihTags (Tagname TEXT)",
       "CREATE TABLE ihRawData (Tagname TEXT, TimeStamp TIMESTAMP, Value, SamplingMode TEXT)"});
  configuration = std::make_shared<config::Configuration1>(components);

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

void EngineTest::Load(const std::vector<std::string>& lines, const std::string& dataLink) {
  std::vector<std::string> text = {
      "NAME=Line 1",
      "ACTIVE=1",
      "DATALINK=" + (dataLink.empty() ? historian : dataLink),
      "SYNCTIME=" + std::to_string(runtime::DateToSerialTime(At("2024-01-01 08:00:00"))),
      "SUBGROUPINTERVAL=15",
      "SUBGROUPUNIT=1",
      "RETRYINTERVAL=1",
      "RETRYUNIT=1"};
  text.insert(text.end(), lines.begin(), lines.end());
  configuration->SetData(runtime::Join(text, "\r\n"));
}

void EngineTest::Start() {
  ASSERT_TRUE(engine.StartEngine(configuration));
  events.clear();
}

void EngineTest::TickDue() {
  TickAt(runtime::Date{engine.NextCollectionTime().serial + 0.1 / 86400});
}

void EngineTest::TickAt(runtime::Date time) {
  clock.Set(time);
  timer->Tick();
}

std::vector<std::string> EngineTest::LastError() const {
  return {engine.LastErrorDescription(), engine.LastErrorDetail(), engine.LastErrorExtended()};
}

std::vector<std::string> EngineTest::LogLines() {
  std::ifstream file(
      components.FileSystem().JoinPath(components.FileSystem().LogFolder(), "oxaGEPDAD6.LOG"),
      std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  std::vector<std::string> lines = runtime::Split(text.str(), "\r\n");
  lines.pop_back();  // after the last CR LF
  return lines;
}

std::string EngineTest::WithoutTime(const std::string& line) {
  std::vector<std::string> fields = runtime::Split(line, "\t");
  fields.erase(fields.begin() + 1);
  return runtime::Join(fields, "|");
}

}  // namespace enginetest
