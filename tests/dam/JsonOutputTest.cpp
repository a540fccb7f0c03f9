// What tools read from dam, through the real program: the subgroup shape of
// `dam subgroups --json` and `--ndjson`, the events of `dam run --ndjson`, and the
// commands that refuse a missing database instead of creating one.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <filesystem>
#include <fstream>

#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "runtime/Date.h"
#include "tests/dam/DamProcesses.h"

namespace {

const QRegularExpression kIsoTime(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d$)");

class JsonOutput : public damtest::DamProcesses {
 protected:
  // The default SPC database, in the data folder.
  std::string Spc() const { return "Driver=SQLite3;Database=" + work_.File("data/spc.db"); }

  // Saves a subgroup as the driver of `configuration` would ("" for a host that does not say).
  void Save(const std::string& configuration, runtime::Date time, double value) {
    auto session = std::make_shared<platform::SpcSession>();
    session->Initialize(7);
    session->Settings().SetConnection(Spc());
    session->SetConfigurationName(configuration);
    session->Open(1, 0);
    platform::SpcSubgroup subgroup;
    subgroup.SetDatabase(session);
    subgroup.SetGroup(host::DescriptorKind::Part, "Products");
    subgroup.SetName(host::DescriptorKind::Part, "P-7");
    subgroup.SetTime(time);
    subgroup.LookupTestGroup("Fill");
    subgroup.LookupTest("Weight");
    subgroup.AddReading(value, 1, 0, "S1", "");
    subgroup.Save(0);
  }

  static QJsonObject Parse(const std::string& text) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(text), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << text;
    return document.object();
  }

  static std::vector<std::string> LinesOf(const QByteArray& output) {
    std::vector<std::string> lines;
    for (const QByteArray& line : output.split('\n')) {
      if (!line.isEmpty()) lines.push_back(line.toStdString());
    }
    return lines;
  }
};

TEST_F(JsonOutput, SubgroupsCarryTheirIdConfigurationAndTimeWithOffsetAndMilliseconds) {
  // The tests run in Europe/Berlin: +01:00 in winter, +02:00 in summer.
  Save("Line 3", runtime::MakeDate({2026, 11, 23, 9, 15, 2}), 501.25);
  Save("", *runtime::ParseDate("2026-07-01 12:00:00.250"), 502.5);
  const struct {
    int id;
    QJsonValue configuration;
    const char* time;
    double value;
  } expected[] = {{1, "Line 3", "2026-11-23T09:15:02.000+01:00", 501.25},
                  {2, QJsonValue::Null, "2026-07-01T12:00:00.250+02:00", 502.5}};

  const auto [code, text] = Run(DAM_PROGRAM, {"subgroups", "--json"});
  ASSERT_EQ(code, 0) << text;
  const QJsonObject document = Parse(text);
  EXPECT_EQ(document["schema"].toInt(), 1);
  const QJsonArray subgroups = document["subgroups"].toArray();
  ASSERT_EQ(subgroups.size(), 2);

  auto ndjson = Start(DAM_PROGRAM, {"subgroups", "--ndjson"}, QProcess::SeparateChannels);
  ASSERT_TRUE(ndjson->waitForFinished());
  const std::vector<std::string> lines = LinesOf(ndjson->readAllStandardOutput());
  ASSERT_EQ(lines.size(), 2u);

  for (size_t i = 0; i < std::size(expected); ++i) {
    const QJsonObject subgroup = subgroups[static_cast<qsizetype>(i)].toObject();
    EXPECT_EQ(subgroup["schema"].toInt(), 1);
    EXPECT_EQ(subgroup["id"].toInt(), expected[i].id);
    EXPECT_EQ(subgroup.value("configuration"), expected[i].configuration);
    EXPECT_EQ(subgroup["time"].toString().toStdString(), expected[i].time);
    EXPECT_EQ(subgroup["part"].toObject()["name"].toString(), "P-7");
    EXPECT_TRUE(subgroup["lot"].isNull());
    const QJsonObject reading = subgroup["readings"].toArray().at(0).toObject();
    EXPECT_EQ(reading["test"].toString(), "Weight");
    EXPECT_EQ(reading["value"].toDouble(), expected[i].value);
    EXPECT_EQ(reading["serial"].toString(), "S1");
    EXPECT_EQ(Parse(lines[i]), subgroup) << "one line holds the document's object";
  }
}

TEST_F(JsonOutput, BadOptionsAreUsageErrorsAndMissingDatabasesAreNeverCreated) {
  const std::string missing = work_.File("typo/spc.db");
  const QString spc = QString::fromStdString("Driver=SQLite3;Database=" + missing);
  const struct {
    QStringList args;
    int code;
    std::string says;
  } cases[] = {
      {{"subgroups", "--follow"}, 2, "--follow needs --ndjson"},
      {{"subgroups", "--json", "--ndjson"}, 2, "--json and --ndjson exclude each other"},
      {{"subgroups", "--last", "-1"}, 2, "--last '-1' is not a whole number"},
      {{"subgroups", "--spc", spc}, 4, "there is no SPC database at " + missing},
      {{"subgroups", "--follow", "--ndjson", "--spc", spc}, 4, "no SPC database at " + missing},
      {{"spool"}, 4, "there is no spool at " + work_.File("data/spool.db")},
  };
  for (const auto& c : cases) {
    const auto [code, output] = Run(DAM_PROGRAM, c.args);
    EXPECT_EQ(code, c.code) << c.args.join(' ').toStdString() << "\n" << output;
    EXPECT_NE(output.find(c.says), std::string::npos) << output;
  }
  EXPECT_FALSE(std::filesystem::exists(missing));
  EXPECT_FALSE(std::filesystem::exists(work_.File("data/spool.db")));
}

TEST_F(JsonOutput, RunEventsReportEachErrorAndEachChangeOfStatusThenTheStop) {
  const std::string historian = work_.File("historian.db");
  const std::string configuration = work_.File("line.cfg");
  std::ofstream(configuration)
      << "NAME=Line 1\nACTIVE=1\nDATALINK=Driver=SQLite3;Database=" << historian
      << ";NoCreat=1\nSYNCTIME=0\nSUBGROUPINTERVAL=1\nSUBGROUPUNIT=0\nRETRYINTERVAL=1\n"
         "RETRYUNIT=0\nDESCRIPTOR=1\tProducts\t%TAG(LINE1.PARTNO)\n"
         "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)\t\n";
  auto run = Start(
      DAM_PROGRAM,
      {"run", QString::fromStdString(configuration), "--ndjson", "--subgroups", "2", "--for", "40"},
      QProcess::SeparateChannels);
  // The historian appears only after the first collections failed.
  WaitFor([&] { return Log().find("\tUnable to Access Database\t") != std::string::npos; }, 20);
  auto histsim =
      Start(HISTSIM_PROGRAM, {QString::fromStdString(historian), "--period", "0.5", "--for", "60"});
  ASSERT_TRUE(run->waitForFinished(60'000));
  histsim->kill();
  histsim->waitForFinished();
  EXPECT_EQ(run->exitCode(), 0);
  EXPECT_NE(run->readAllStandardError().toStdString().find("stopped after 2 subgroup(s)"),
            std::string::npos);

  std::vector<QJsonObject> statuses;
  int missing = 0;
  for (const std::string& line : LinesOf(run->readAllStandardOutput())) {
    QJsonObject event = Parse(line);
    EXPECT_EQ(event["schema"].toInt(), 1) << line;
    EXPECT_TRUE(kIsoTime.match(event["time"].toString()).hasMatch()) << line;
    event.remove("time");
    const QString kind = event.value("event").toString();
    if (kind == "error") {
      missing += event.value("message").toString().startsWith("Unable to Access Database");
      continue;
    }
    ASSERT_EQ(kind, "status") << line;
    if (!statuses.empty()) {
      EXPECT_NE(event, statuses.back()) << "written only on a change: " << line;
      EXPECT_GE(event.value("saved").toInt(), statuses.back().value("saved").toInt()) << line;
    }
    statuses.push_back(event);
  }
  EXPECT_GE(missing, 1) << "each collection error is an event";
  ASSERT_GE(statuses.size(), 3u);
  EXPECT_EQ(statuses.front().value("state").toString(), "running");
  EXPECT_EQ(statuses.front().value("saved").toInt(), 0);
  EXPECT_EQ(statuses.back().value("state").toString(), "stopped");
  EXPECT_EQ(statuses.back().value("saved").toInt(), 2);

  platform::SpcSession spc;
  spc.Settings().SetConnection(Spc());
  spc.Open(1, 0);
  for (const auto& subgroup : platform::ReadSubgroups(spc, 10)) {
    EXPECT_EQ(subgroup.configuration, "Line 1") << "dam run names what it saves";
  }
}

}  // namespace
