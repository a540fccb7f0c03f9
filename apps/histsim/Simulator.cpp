#include "apps/histsim/Simulator.h"

#include <cstdio>
#include <filesystem>

#include "runtime/Clock.h"
#include "runtime/Conversions.h"
#include "runtime/Error.h"

namespace histsim {
namespace {

using Values = std::vector<runtime::Variant>;

std::string Fixed(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

}  // namespace

std::string HistorianConnectionString(const std::string& historian) {
  if (historian.find('=') != std::string::npos) return historian;
  // SQLite says no more than "connect failed" of a file in a folder that does not exist.
  const std::filesystem::path folder = std::filesystem::path(historian).parent_path();
  if (!folder.empty() && !std::filesystem::is_directory(folder)) {
    throw runtime::Error(runtime::kPathFileAccessError, "there is no folder " + folder.string(),
                         "histsim");
  }
  return "Driver=SQLite3;Database=" + historian;
}

Simulator::Simulator(const Options& options) : options_(options), random_(options.seed) {
  using Kind = Tag::Kind;
  const std::string p = options.prefix + ".";
  tags_ = {
      {p + "PARTNO", Kind::Part, 0, 0, "P-1001"},
      {p + "LOT", Kind::Lot, 0, 0, "LOT-0001"},
      {p + "OPERATOR", Kind::Operator, 0, 0, "Miller"},
      {p + "RUNNING", Kind::Running, 0, 0, "1"},
      {p + "COUNTER", Kind::Counter, 0, 0, "0"},
      {p + "WEIGHT", Kind::Measurement, 500.0, 1.5, ""},
      {p + "WEIGHT2", Kind::Measurement, 500.0, 1.5, ""},
      {p + "WIDTH", Kind::Measurement, 25.0, 0.05, ""},
      {p + "TEMP", Kind::Measurement, 72.0, 0.8, ""},
      {p + "PRESSURE", Kind::Measurement, 3.2, 0.05, ""},
  };
  for (int i = 1; i <= options.extraMeasurements; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "M%04d", i);
    tags_.push_back({p + name, Kind::Measurement, 100.0, 1.0, ""});
  }
  for (const Tag& tag : tags_) names_.push_back(tag.name);
  connection_.Open(HistorianConnectionString(options.historian), "", "");
}

void Simulator::Create() {
  connection_.Execute(
      "CREATE TABLE IF NOT EXISTS ihTags (Tagname VARCHAR(255) PRIMARY KEY, "
      "Description VARCHAR(255))");
  connection_.Execute(
      "CREATE TABLE IF NOT EXISTS ihRawData (Tagname VARCHAR(255) NOT NULL, "
      "TimeStamp TIMESTAMP NOT NULL, Value VARCHAR(255), SamplingMode VARCHAR(32) NOT NULL, "
      "Quality INTEGER)");
  connection_.Execute(
      "CREATE INDEX IF NOT EXISTS ihRawData_Mode ON ihRawData (SamplingMode, Tagname)");
  connection_.BeginTransaction();
  const runtime::Date now = runtime::Now();
  for (Tag& tag : tags_) {
    connection_.Execute(
        "INSERT INTO ihTags (Tagname, Description) SELECT ?, ? "
        "WHERE NOT EXISTS (SELECT 1 FROM ihTags WHERE Tagname = ?)",
        Values{tag.name, "simulated", tag.name});
    connection_.Execute(
        "INSERT INTO ihRawData (Tagname, TimeStamp, Value, SamplingMode, Quality) "
        "SELECT ?, ?, ?, 'CurrentValue', 192 WHERE NOT EXISTS (SELECT 1 FROM ihRawData "
        "WHERE Tagname = ? AND SamplingMode = 'CurrentValue')",
        Values{tag.name, now, NextValue(tag), tag.name});
  }
  connection_.Commit();
}

void Simulator::Step() {
  ++steps_;
  const runtime::Date now = runtime::Now();
  connection_.BeginTransaction();
  auto update = connection_.Prepare(
      "UPDATE ihRawData SET TimeStamp = ?, Value = ?, Quality = 192 "
      "WHERE Tagname = ? AND SamplingMode = 'CurrentValue'");
  auto history = connection_.Prepare(
      "INSERT INTO ihRawData (Tagname, TimeStamp, Value, SamplingMode, Quality) "
      "VALUES (?, ?, ?, 'RawByTime', 192)");
  for (Tag& tag : tags_) {
    const std::string value = NextValue(tag);
    update->Execute({now, value, tag.name});
    history->Execute({tag.name, now, value});
  }
  if (steps_ % 100 == 0) {
    const runtime::Date oldest{now.serial - options_.keepHistory / 86400.0};
    connection_.Execute("DELETE FROM ihRawData WHERE SamplingMode = 'RawByTime' AND TimeStamp < ?",
                        Values{oldest});
  }
  connection_.Commit();
}

std::string Simulator::NextValue(Tag& tag) {
  using Kind = Tag::Kind;
  std::uniform_real_distribution<double> chance(0.0, 1.0);
  switch (tag.kind) {
    case Kind::Measurement:
      return Fixed(std::normal_distribution<double>(tag.setPoint, tag.spread)(random_), 3);
    case Kind::Part:
      if (chance(random_) < 0.02) {
        tag.text = "P-100" + std::to_string(1 + static_cast<int>(random_() % 3));
      }
      return tag.text;
    case Kind::Lot:
      if (chance(random_) < 0.01) {
        char lot[32];
        std::snprintf(lot, sizeof lot, "LOT-%04lld", static_cast<long long>(++tag.count + 1));
        tag.text = lot;
      }
      return tag.text;
    case Kind::Operator:
      if (chance(random_) < 0.005) tag.text = tag.text == "Miller" ? "Schmidt" : "Miller";
      return tag.text;
    case Kind::Running:
      return chance(random_) < 0.97 ? "1" : "0";
    case Kind::Counter:
      return std::to_string(tag.count++);
  }
  return "";
}

}  // namespace histsim
