#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <iostream>
#include <optional>

#include "apps/dam/Commands.h"
#include "apps/dam/DamHost.h"
#include "apps/dam/FollowSubgroups.h"
#include "apps/dam/JsonOutput.h"
#include "apps/dam/MissingSpcFile.h"
#include "apps/dam/SubgroupJson.h"
#include "platform/components/PlatformComponents.h"
#include "platform/spcdb/SpcReader.h"
#include "runtime/Conversions.h"

namespace dam {
namespace {

std::string Named(const std::optional<platform::SpcName>& name) {
  return name ? name->group + "/" + name->name : "-";
}

void PrintTable(const std::vector<platform::SpcSubgroupData>& subgroups) {
  for (const auto& s : subgroups) {
    std::cout << runtime::FormatGeneralDate(s.time) << "  size " << s.size << "  part "
              << Named(s.part) << "  process " << Named(s.process) << "  job " << Named(s.job)
              << "  shift " << Named(s.shift) << "  lot " << s.lot.value_or("-");
    for (const auto& d : s.descriptors) std::cout << "  " << d.group << "=" << d.name;
    if (s.configuration) std::cout << "  by " << *s.configuration;
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

int Usage(const std::string& problem) {
  std::cerr
      << "dam subgroups: " << problem
      << "\nusage: dam subgroups [--spc CONNECTION] [--last N] [--json | --ndjson] [--follow]\n";
  return 2;
}

}  // namespace

int SubgroupsCommand(const Arguments& args) {
  std::string spc;
  std::optional<long> last;
  bool json = false, ndjson = false, follow = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const bool hasValue = i + 1 < args.size();
    char* end = nullptr;
    if (args[i] == "--spc" && hasValue) {
      spc = args[++i];
    } else if (args[i] == "--last" && hasValue) {
      last = std::strtol(args[++i].c_str(), &end, 10);
      if (*end != '\0' || *last < 0 || *last > 1'000'000) {
        return Usage("--last takes a number from 0 to 1000000, not \"" + args[i] + "\"");
      }
    } else if (args[i] == "--json") {
      json = true;
    } else if (args[i] == "--ndjson") {
      ndjson = true;
    } else if (args[i] == "--follow") {
      follow = true;
    } else {
      return Usage("unknown argument \"" + args[i] + "\"");
    }
  }
  if (json && ndjson) return Usage("--json and --ndjson exclude each other");
  if (follow && !ndjson) return Usage("--follow needs --ndjson");
  // Following starts at what is saved next unless told to show some before.
  const auto count = static_cast<int32_t>(last.value_or(follow ? 0 : 20));
  std::optional<FollowStop> stop;
  if (follow) stop.emplace();
  platform::PlatformComponents components;
  WarnIfSettingsShowPasswords(components);
  // Reading never creates a database: a mistyped path is an error, not "no subgroups".
  const std::string connection = SpcConnection(components, spc);
  if (const std::string file = MissingSpcFile(connection); !file.empty()) {
    std::cerr << "dam subgroups: there is no SPC database at " << file << '\n';
    return kNoDatabase;
  }
  DamHost host(components, connection);
  auto& session = dynamic_cast<platform::SpcSession&>(*host.Session());
  if (follow) return FollowSubgroups(session, count, std::cout, std::cerr, *stop);
  const auto subgroups = platform::ReadSubgroups(session, count);
  if (ndjson) {
    for (const auto& subgroup : subgroups) std::cout << JsonLine(SubgroupJson(subgroup));
  } else if (json) {
    QJsonArray out;
    for (const auto& subgroup : subgroups) out.append(SubgroupJson(subgroup));
    const QJsonObject document{{"schema", kJsonSchema}, {"subgroups", out}};
    std::cout << QJsonDocument(document).toJson(QJsonDocument::Indented).toStdString();
  } else {
    PrintTable(subgroups);
  }
  return 0;
}

}  // namespace dam
