// The whole job through the real programs: histsim moves a SQLite historian, dam runs the
// registered driver on it, and the subgroups land in a SQLite SPC database.

#include <grp.h>
#include <unistd.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>

#include "apps/dam/output/JsonOutput.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "tests/apps/dam/DamProcesses.h"

namespace {

using EndToEnd = damtest::DamProcesses;

QJsonObject Parse(const std::string& text) {
  QJsonParseError error;
  const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(text), &error);
  EXPECT_EQ(error.error, QJsonParseError::NoError) << text;
  return document.object();
}

// Two runs start before their historian exists: they keep running and report each failure,
// then collect once histsim moves it. Each stops on the count of its own subgroups, saves the
// historian's values under its configuration's name, and --ndjson writes all it says as
// events on stdout, each naming its configuration.
TEST_F(EndToEnd, TwoRunsOutliveALateHistorianThenEachSavesAndCountsItsOwnSubgroups) {
  const QString config = Configuration(
      "DESCRIPTOR=5\tShifts\tDay\nDESCRIPTOR=4\t\t%TAG(LINE1.LOT)\n"
      "CONDITION=0\t%TAG(LINE1.COUNTER)\t0\t\nTEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)\t\n"
      "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT2)\t\nTEST=Fill\tWidth\t%TAG(LINE1.WIDTH)\t\n");
  auto events = Start(DAM_PROGRAM, {"run", config, "--ndjson", "--subgroups", "2", "--for", "40"},
                      QProcess::SeparateChannels);
  auto plain = Start(DAM_PROGRAM, {"run", config, "--subgroups", "3", "--for", "40"});
  std::string eventLines, output;
  EXPECT_TRUE(Says(*plain, output, "last error Unable to Access Database", 20)) << output << Log();
  EXPECT_TRUE(Says(*events, eventLines, "Unable to Access Database", 20)) << eventLines;
  EXPECT_EQ(plain->state(), QProcess::Running) << "dam keeps running without its historian";

  StartHistorian();
  ASSERT_TRUE(events->waitForFinished(60'000));
  ASSERT_TRUE(plain->waitForFinished(60'000));
  StopHistorian();
  output += plain->readAll().toStdString();
  ASSERT_EQ(plain->exitCode(), 0) << output;
  EXPECT_EQ(events->exitCode(), 0);
  EXPECT_EQ(events->readAllStandardError().toStdString(), "") << "--ndjson says all on stdout";
  EXPECT_GE(Stopped(output), 3) << output;
  const auto saved = Saved(Spc());
  EXPECT_EQ(static_cast<int>(saved.size()), 2 + Stopped(output))
      << "each run counted only its own subgroups";
  const std::map<std::pair<std::string, int>, std::string> tagOf = {
      {{"Weight", 1}, "LINE1.WEIGHT"},
      {{"Weight", 2}, "LINE1.WEIGHT2"},
      {{"Width", 1}, "LINE1.WIDTH"}};
  // The query runs just before the save; the historian may have moved once between.
  ExpectHistorianValues(saved, 3, 2, [&](const platform::SpcReading& reading) {
    return tagOf.at({reading.test, reading.sample});
  });
  // The chart's limits from these readings: SpcChartTest.
  for (const auto& subgroup : saved) {
    ASSERT_TRUE(subgroup.part && subgroup.lot && subgroup.shift);
    EXPECT_EQ(subgroup.shift->name, "Day");
    EXPECT_EQ(subgroup.configuration, "Line 1") << "dam run names what it saves";
  }
  const QString svg = QString::fromStdString(work_.File("weight.svg"));
  environment_.remove("XDG_RUNTIME_DIR");  // as under cron: nothing to say of it
  auto chartRun = Start(DAM_PROGRAM, {"chart", "--test", "fill/WEIGHT", "--json", "--out", svg},
                        QProcess::SeparateChannels);
  ASSERT_TRUE(chartRun->waitForFinished());
  EXPECT_EQ(chartRun->exitCode(), 0);
  EXPECT_EQ(chartRun->readAllStandardError().toStdString(), "");
  const QJsonObject chart = Parse(chartRun->readAllStandardOutput().toStdString());
  EXPECT_EQ(chart["test"].toString(), "Fill/Weight");
  EXPECT_EQ(chart["chart"].toString(), "xbar-r");
  EXPECT_EQ(chart["n"].toInt(), 2);
  EXPECT_EQ(chart["rules"].toArray(), (QJsonArray{1, 2, 3, 4}));
  EXPECT_GT(chart["mean"]["ucl"].toDouble(), chart["mean"]["center"].toDouble());
  EXPECT_GT(chart["mean"]["center"].toDouble(), chart["mean"]["lcl"].toDouble());
  EXPECT_GT(chart["spread"]["ucl"].toDouble(), chart["spread"]["center"].toDouble());
  const QJsonArray points = chart["points"].toArray();
  ASSERT_EQ(chart["subgroups"].toInt(), static_cast<int>(saved.size()));
  ASSERT_EQ(points.size(), chart["subgroups"].toInt());
  EXPECT_EQ(points[0]["id"].toInt(), saved[0].id);
  EXPECT_EQ(points[0]["time"].toString().toStdString(), dam::IsoTime(saved[0].time));
  EXPECT_TRUE(Read(work_.File("weight.svg")).starts_with("<?xml")) << "--out draws the chart";
  EXPECT_HAS(Read(work_.File("weight.svg")), "<svg");
  const auto [shown, text] =
      Dam({"chart", "--test", "Fill/Width", "--out", QString::fromStdString(work_.File("w.PNG"))});
  EXPECT_EQ(shown, 0) << text;
  EXPECT_TRUE(Read(work_.File("w.PNG")).starts_with("\x89PNG"));
  EXPECT_HAS(text, "Fill/Width: i-mr chart, n 1, ");
  const auto [missingTest, said] = Dam({"chart", "--test", "Fill/Depth"});
  EXPECT_EQ(missingTest, 1);
  EXPECT_HAS(said, "dam chart: there is no test Fill/Depth in the SPC database");
  // A test whose every reading records a defect: no point, the readings counted, and a title
  // the SVG holds as text.
  platform::SpcSubgroup leak;
  leak.SetDatabase(damtest::SpcWriter(Spc(), "Line 1"));
  leak.LookupTestGroup("Fill & Seal");
  leak.LookupTest("<Leak>");
  leak.AddReading(1, 1, 0, "", "Leak");
  leak.Save(0);
  const auto [drawn, leaks] = Dam({"chart", "--test", "Fill & Seal/<Leak>", "--out", svg});
  EXPECT_EQ(drawn, 0);
  EXPECT_TRUE(
      leaks.ends_with("Fill & Seal/<Leak>: no subgroups in the window\n"
                      "1 reading(s) of a defect left out\n"))
      << leaks;
  QXmlStreamReader xml(QByteArray::fromStdString(Read(svg.toStdString())));
  ASSERT_TRUE(xml.readNextStartElement() && xml.readNextStartElement());
  EXPECT_EQ(xml.name(), u"title");
  EXPECT_EQ(xml.readElementText(), "Fill & Seal/<Leak>");
  while (!xml.atEnd()) xml.readNext();
  EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
  // A sensor stuck at one value, saved by a clock set back: in control, over the span of
  // its times, and the labels of its limits, which meet, each on a line of its own.
  const auto stuck = damtest::SpcWriter(Spc(), "Line 1");
  for (int i = 0; i < 3; ++i) {
    platform::SpcSubgroup subgroup;
    subgroup.SetDatabase(stuck);
    subgroup.SetTime(runtime::MakeDate({2026, 11, 23, 9, 3 - i, 0}));
    subgroup.LookupTestGroup("Fill");
    subgroup.LookupTest("Stuck");
    subgroup.AddReading(0.1, 1, 0, "", "");
    subgroup.AddReading(0.1, 2, 0, "", "");
    subgroup.Save(0);
  }
  const auto [flat, steady] = Dam({"chart", "--test", "Fill/Stuck", "--out", svg});
  EXPECT_EQ(flat, 0);
  EXPECT_HAS(steady, "3 subgroup(s) from 2026-11-23 09:01:00 to 2026-11-23 09:03:00");
  EXPECT_HAS(steady, "in control: no point breaks a rule");
  std::map<QString, double> labelAt;
  QXmlStreamReader labels(QByteArray::fromStdString(Read(svg.toStdString())));
  while (!labels.atEnd()) {
    if (labels.readNext() == QXmlStreamReader::StartElement && labels.name() == u"text") {
      const double y = labels.attributes().value("y").toDouble();
      labelAt[labels.readElementText()] = y;
    }
  }
  EXPECT_LT(labelAt["UCL 0.1"], labelAt["CL 0.1"]);
  EXPECT_LT(labelAt["CL 0.1"], labelAt["LCL 0.1"]);
  // One individual has no moving range: no limits, and nothing said to be in control.
  platform::SpcSubgroup once;
  once.SetDatabase(stuck);
  once.LookupTestGroup("Fill");
  once.LookupTest("Once");
  once.AddReading(7, 1, 0, "", "");
  once.Save(0);
  const auto [lone, alone] = Dam({"chart", "--test", "Fill/Once"});
  EXPECT_EQ(lone, 0);
  EXPECT_HAS(alone,
             "individual: center 7  ucl -  lcl -\nmoving range: center -  ucl -  lcl -\n"
             "no limits: no subgroup of the window shows a spread to set them by\n");
  EXPECT_LACKS(alone, "in control");
  // A full disk is a failure, not a picture cut short.
  std::filesystem::create_symlink("/dev/full", work_.File("full.svg"));
  const auto [full, cut] = Dam(
      {"chart", "--test", "Fill/Weight", "--out", QString::fromStdString(work_.File("full.svg"))});
  EXPECT_EQ(full, 1);
  EXPECT_HAS(cut, "dam chart: cannot draw the chart: cannot write the chart to ");

  const QRegularExpression isoTime(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d$)");
  eventLines += events->readAllStandardOutput().toStdString();
  std::vector<QJsonObject> statuses;
  int missing = 0;
  for (const std::string& line : Lines(eventLines)) {
    QJsonObject event = Parse(line);
    EXPECT_EQ(event["schema"].toInt(), 1) << line;
    EXPECT_TRUE(isoTime.match(event["time"].toString()).hasMatch()) << line;
    event.remove("time");
    const QString kind = event.value("event").toString();
    if (kind == "stopped") {
      EXPECT_EQ(event.value("saved").toInt(), 2) << line;
      continue;
    }
    EXPECT_EQ(event.value("configuration").toString(), "Line 1") << line;
    if (kind == "historian" || kind == "finding") continue;
    if (kind == "error") {
      missing += event.value("message").toString().startsWith("Unable to Access Database");
      EXPECT_EQ(event.value("source").toString(), "collection log") << line;
      EXPECT_TRUE(event.contains("number")) << line;
      continue;
    }
    ASSERT_EQ(kind, "status") << line;
    EXPECT_TRUE(event.contains("next")) << line;
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
}

TEST_F(EndToEnd, SubgroupsInJsonCarryTheirIdConfigurationAndTimeWithOffsetAndMilliseconds) {
  // The tests run in Europe/Berlin: +01:00 in winter, +02:00 in summer; a time in the hour
  // skipped or repeated takes the offset before the change; local mean time before 1893.
  const struct {
    int id;
    QJsonValue configuration;
    const char *stored, *time;
    double value;
  } expected[] = {
      {1, "Line 3\x1b[2J", "2026-11-23 09:15:02", "2026-11-23T09:15:02.000+01:00", 501.25},
      {2, QJsonValue::Null, "2026-07-01 12:00:00.250", "2026-07-01T12:00:00.250+02:00", 502.5},
      {3, "L", "2026-03-29 02:30:00", "2026-03-29T02:30:00.000+01:00", 0.30000000000000004},
      {4, "L", "2026-10-25 02:30:00", "2026-10-25T02:30:00.000+02:00", 1},
      {5, "L", "1800-06-01 12:00:00", "1800-06-01T12:00:00.000+00:53", 1}};
  for (const auto& row : expected) {
    damtest::SaveSubgroup(damtest::SpcWriter(Spc(), row.configuration.toString().toStdString()),
                          *runtime::ParseDate(row.stored), row.value);
  }
  // An event's time is the instant it happened, with the offset then in force.
  EXPECT_EQ(dam::IsoTime(std::chrono::sys_days{std::chrono::October / 25 / 2026} +
                         std::chrono::minutes(30)),
            "2026-10-25T02:30:00.000+02:00");
  EXPECT_EQ(dam::IsoTime(std::chrono::sys_days{std::chrono::October / 25 / 2026} +
                         std::chrono::minutes(90)),
            "2026-10-25T02:30:00.000+01:00");

  const auto [code, text] = Dam({"subgroups", "--json"});
  ASSERT_EQ(code, 0) << text;
  const QJsonObject document = Parse(text);
  EXPECT_EQ(document["schema"].toInt(), 1);
  const QJsonArray subgroups = document["subgroups"].toArray();
  ASSERT_EQ(subgroups.size(), std::ssize(expected));
  const std::vector<std::string> csv = Lines(Dam({"subgroups", "--csv"}).second);
  ASSERT_EQ(csv.size(), std::size(expected) + 1);
  // The columns: SubgroupCsvTest.
  for (size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_TRUE(csv[i + 1].starts_with(std::to_string(i + 1) + "," + expected[i].time + ","))
        << csv[i + 1];
  }
  const std::string table = Dam({"subgroups"}).second;
  EXPECT_HAS(table, "by Line 3\\x1B[2J\n");
  EXPECT_HAS(table, "/ Weight  #1  0.30000000000000004  serial S1\n") << "every digit held";
  EXPECT_EQ(table.find('\x1b'), std::string::npos) << "shown escaped: " << table;
  auto ndjson = Start(DAM_PROGRAM, {"subgroups", "--ndjson"}, QProcess::SeparateChannels);
  ASSERT_TRUE(ndjson->waitForFinished());
  const std::vector<std::string> lines = Lines(ndjson->readAllStandardOutput().toStdString());
  ASSERT_EQ(lines.size(), std::size(expected));

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

// Commands that read never create the database they were pointed at: they name it. A
// dam.ini that holds a password is readable by no other user or warned about, and no
// password is shown.
TEST_F(EndToEnd, TheSpcDatabaseIsTheFlagElseTheEnvironmentElseDamIniElseTheDataFolder) {
  const std::string flag = work_.File("flag.db"), environment = work_.File("environment.db"),
                    setting = work_.File("setting.db"), fallback = work_.File("data/spc.db");
  const std::string ini = work_.File("settings/dam.ini"), sqlite = "Driver=SQLite3;Database=";
  const std::string password = setting + ";MyPassword=hunter2";
  const QStringList subgroups = {"subgroups"},
                    flagged = {"subgroups", "--spc", QString::fromStdString(sqlite + flag)};
  // Each case names the database the command looked for, `at`.
  const struct {
    QStringList args;
    std::string environment, setting;  // "": no dam.ini
    unsigned iniMode;
    std::string at;
    bool warned;
  } cases[] = {
      {flagged, environment, setting, 0644, flag, false},
      {subgroups, environment, setting, 0644, environment, false},
      {subgroups, "", setting, 0644, setting, false},
      {{"subgroups", "--follow", "--ndjson"}, "", setting, 0644, setting, false},
      {subgroups, "", password, 0644, setting, true},
      {subgroups, "", password, 0600, setting, false},
      // Its group is the reader's own, as /etc/dam/dam.ini (root, group dam) is the service's.
      {subgroups, "", password, 0640, setting, false},
      {subgroups, "", "", 0, fallback, false},
      {{"spool"}, "", "", 0, work_.File("data/spool.db"), false},
  };
  for (const auto& c : cases) {
    const bool spool = c.args[0] == "spool", follow = c.args.contains("--follow");
    const std::string said = (spool ? "there is no spool at " : "no SPC database at ") + c.at +
                             (spool || follow ? "" : "\n");
    SCOPED_TRACE(said);
    environment_.insert(
        "DAM_SPC_CONNECTION",
        QString::fromStdString(c.environment.empty() ? "" : sqlite + c.environment));
    std::filesystem::remove(ini);
    if (!c.setting.empty()) {
      WriteFile("settings/dam.ini", "[Database]\r\nConnection=" + sqlite + c.setting + "\r\n");
      std::filesystem::permissions(ini, std::filesystem::perms(c.iniMode));
    }
    const auto [exitCode, output] = Dam(c.args);
    EXPECT_EQ(exitCode, 4) << output;
    EXPECT_HAS(output, said);
    EXPECT_EQ(output.find("dam: warning: " + ini +
                          " holds a password that other users can read; make it owner-only: "
                          "chmod 600 " +
                          ini) != std::string::npos,
              c.warned)
        << output;
    EXPECT_LACKS(output, "hunter2");
    for (const std::string& file : {flag, environment, setting, fallback}) {
      EXPECT_FALSE(std::filesystem::exists(file)) << file;
    }
  }
  EXPECT_FALSE(std::filesystem::exists(work_.File("data/spool.db")));
  // Another's file, as the service reads root's: owner-only would lock the reader out.
  WriteFile("settings/dam.ini", "[Database]\r\nConnection=" + sqlite + password + "\r\n");
  std::filesystem::permissions(ini, std::filesystem::perms(0644));
  if (chown(ini.c_str(), 4242, -1) == 0) {
    const std::string group = getgrgid(getegid())->gr_name;
    const std::string said = Dam(subgroups).second;
    EXPECT_HAS(said, "make it readable by its owner and your group alone: chgrp " + group + " " +
                         ini + " && chmod 640 " + ini);
  }
}

TEST_F(EndToEnd, ConfigShowMasksPasswordsAndReportsAnUnreadableConfiguration) {
  const QString config =
      WriteFile("secret.cfg", "NAME=Secret\nACTIVE=1\nDATALINK=Driver=SQLite3;Database=" +
                                  work_.File("none.db") + ";NoCreat=1; PWD = hunter2\n");
  for (const QStringList& args :
       {QStringList{"config", "show", config}, QStringList{"config", "show", "--json", config}}) {
    const std::string output = Dam(args).second;
    EXPECT_HAS(output, ";NoCreat=1; PWD =***");
    EXPECT_LACKS(output, "hunter2");
  }
  const std::string shown = Dam({"config", "show", "--show-secrets", config}).second;
  EXPECT_HAS(shown, "; PWD = hunter2");

  const auto [exitCode, output] =
      Dam({"config", "show", "--json",
           WriteFile("bad.cfg", "NAME=Half\r\nACTIVE=maybe\r\nNAME=Never")});
  EXPECT_EQ(exitCode, 3) << "the configuration is invalid";
  EXPECT_HAS(output, "\"text\": \"NAME=Half\\r\\nACTIVE=0");
  EXPECT_HAS(output, "\"number\": 13");
  EXPECT_HAS(output, "\"source\": \"Configuration1.SetData, line 2 of the configuration text\"");
}

// The shipped example configurations check clean and collect from the simulated historian as
// they stand: only their historian's path is changed.
TEST_F(EndToEnd, EachExampleChecksCleanAndCollectsEveryReadingItNames) {
  const struct {
    const char* file;
    size_t readings;
    int32_t size;
    bool job, serial;
  } cases[] = {
      {"demo.cfg", 5, 2, false, false},
      {"line1.cfg", 5, 2, true, true},
  };
  size_t shipped = 0;
  for (const auto& entry : std::filesystem::directory_iterator(DAM_EXAMPLES_DIR))
    shipped += entry.path().extension() == ".cfg";
  EXPECT_EQ(shipped, std::size(cases)) << "an example without a case here";

  StartHistorian();
  for (const auto& test : cases) {
    SCOPED_TRACE(test.file);
    const QString config = WriteFile(
        test.file, std::regex_replace(Read(std::string(DAM_EXAMPLES_DIR) + "/" + test.file),
                                      std::regex("(DATALINK=Driver=SQLite3;Database=)[^;\n]*"),
                                      "$1" + historian_));
    const auto [clean, warnings] = Dam({"check", config});
    EXPECT_EQ(clean, 0) << warnings;
    EXPECT_EQ(warnings, "");
    const auto [checked, shown] = Dam({"config", "show", config});
    EXPECT_EQ(checked, 0) << shown;
    EXPECT_HAS(shown, "Data link: Connection Ready");

    std::filesystem::remove(work_.File("data/spc.db"));
    const auto [status, output] = Dam({"run", config, "--subgroups", "1", "--for", "40"});
    ASSERT_EQ(status, 0) << output << Log();
    const auto saved = Saved(Spc());
    ASSERT_EQ(saved.size(), 1u) << output << Log();
    const platform::SpcSubgroupData& subgroup = saved.front();
    EXPECT_EQ(subgroup.readings.size(), test.readings);
    EXPECT_EQ(subgroup.size, test.size);
    EXPECT_TRUE(subgroup.part && subgroup.process && subgroup.shift && subgroup.lot);
    EXPECT_EQ(subgroup.job.has_value(), test.job);
    EXPECT_EQ(subgroup.descriptors.size(), 1u);
    for (const auto& reading : subgroup.readings) {
      EXPECT_EQ(reading.serialNumber.starts_with("SN-"), test.serial);
    }
  }
}

}  // namespace
