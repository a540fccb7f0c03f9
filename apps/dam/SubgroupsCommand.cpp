#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <filesystem>
#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/DamHost.h"
#include "apps/shared/Failures.h"
#include "platform/components/PlatformComponents.h"
#include "platform/odbc/OdbcConnectionString.h"
#include "platform/spcdb/SpcReader.h"
#include "runtime/Conversions.h"
#include "runtime/Text.h"

namespace dam {
namespace {

QString Text(const std::string& text) {
  return QString::fromStdString(text);
}

QJsonValue Name(const std::optional<platform::SpcName>& name) {
  if (!name) return QJsonValue::Null;
  return QJsonObject{{"group", Text(name->group)}, {"name", Text(name->name)}};
}

QJsonObject ToJson(const platform::SpcSubgroupData& subgroup) {
  QJsonArray descriptors, readings;
  for (const auto& d : subgroup.descriptors) descriptors.append(Name(d));
  for (const auto& r : subgroup.readings) {
    readings.append(QJsonObject{{"test_group", Text(r.testGroup)},
                                {"test", Text(r.test)},
                                {"sample", r.sample},
                                {"value", r.value},
                                {"serial", Text(r.serialNumber)},
                                {"defect", Text(r.defect)}});
  }
  return QJsonObject{{"time", Text(runtime::FormatGeneralDate(subgroup.time))},
                     {"size", subgroup.size},
                     {"part", Name(subgroup.part)},
                     {"process", Name(subgroup.process)},
                     {"job", Name(subgroup.job)},
                     {"shift", Name(subgroup.shift)},
                     {"lot", subgroup.lot ? QJsonValue(Text(*subgroup.lot)) : QJsonValue::Null},
                     {"user_defined", descriptors},
                     {"readings", readings}};
}

std::string Named(const std::optional<platform::SpcName>& name) {
  return name ? name->group + "/" + name->name : "-";
}

void PrintTable(const std::vector<platform::SpcSubgroupData>& subgroups) {
  for (const auto& s : subgroups) {
    std::cout << runtime::FormatGeneralDate(s.time) << "  size " << s.size << "  part "
              << Named(s.part) << "  process " << Named(s.process) << "  job " << Named(s.job)
              << "  shift " << Named(s.shift) << "  lot " << s.lot.value_or("-");
    for (const auto& d : s.descriptors) std::cout << "  " << d.group << "=" << d.name;
    std::cout << '\n';
    for (const auto& r : s.readings) {
      std::cout << "    " << r.testGroup << " / " << r.test << "  #" << r.sample << "  "
                << runtime::NumberToText(r.value);
      if (!r.serialNumber.empty()) std::cout << "  serial " << r.serialNumber;
      if (!r.defect.empty()) std::cout << "  defect " << r.defect;
      std::cout << '\n';
    }
  }
  if (subgroups.empty()) std::cout << "no subgroups saved\n";
}

// The SQLite file an SQLite connection string names, or "" for any other database.
std::string SqliteFile(const std::string& connection) {
  std::string driver, file;
  for (const platform::ConnectionKey& pair : platform::ParseConnectionString(connection)) {
    if (runtime::EqualsNoCase(pair.key, "Driver")) driver = pair.value;
    if (runtime::EqualsNoCase(pair.key, "Database")) file = pair.value;
  }
  return runtime::EqualsNoCase(driver, "SQLite3") ? file : "";
}

}  // namespace

int SubgroupsCommand(const SubgroupsOptions& options) {
  platform::PlatformComponents components;
  WarnIfSettingsShowPasswords(components);
  // Reading never creates a database: a mistyped path is an error, not "no subgroups".
  const std::string connection = SpcConnection(components, options.spc);
  if (const std::string file = SqliteFile(connection);
      !file.empty() && !std::filesystem::exists(file)) {
    throw apps::Failure(apps::kExitUnreachable, "there is no SPC database at " + file);
  }
  const auto subgroups = apps::Doing(apps::kExitUnreachable, "cannot read the SPC database", [&] {
    DamHost host(components, connection);
    auto& session = dynamic_cast<platform::SpcSession&>(*host.Session());
    return platform::ReadSubgroups(session, static_cast<int32_t>(options.last));
  });
  if (options.json) {
    QJsonArray out;
    for (const auto& subgroup : subgroups) out.append(ToJson(subgroup));
    std::cout << QJsonDocument(out).toJson(QJsonDocument::Indented).toStdString();
  } else {
    PrintTable(subgroups);
  }
  return 0;
}

}  // namespace dam
