#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>

#include "apps/dam/Commands.h"
#include "apps/dam/commands/SubgroupsFollow.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/MissingSpcFile.h"
#include "apps/dam/output/JsonOutput.h"
#include "apps/dam/output/SubgroupCsv.h"
#include "apps/dam/output/SubgroupJson.h"
#include "apps/shared/Failures.h"
#include "apps/shared/TerminalText.h"
#include "platform/components/PlatformComponents.h"
#include "platform/spcdb/SpcReader.h"
#include "runtime/Conversions.h"

namespace dam {
namespace {

std::string Named(const std::optional<platform::SpcName>& name) {
  return name ? name->group + "/" + name->name : "-";
}

// Every digit the SPC database holds, as JSON and CSV show it: 15 digits would show
// 0.30000000000000004 as 0.3. Another writer may have stored an infinity or a NaN.
std::string ValueText(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0 ? "-Inf" : "Inf";
  return runtime::ExactNumberText(value);
}

// Names, lots and defects come from the historian: shown escaped, as the terminal would
// otherwise act on control characters in them.
// `asked`: how many the user asked for; with none asked, an empty list says nothing of the
// database.
void PrintTable(const std::vector<platform::SpcSubgroupData>& subgroups, int32_t asked) {
  for (const auto& s : subgroups) {
    std::ostringstream line;
    line << runtime::FormatGeneralDate(s.time) << "  size " << s.size << "  part " << Named(s.part)
         << "  process " << Named(s.process) << "  job " << Named(s.job) << "  shift "
         << Named(s.shift) << "  lot " << s.lot.value_or("-");
    for (const auto& d : s.descriptors) line << "  " << d.group << "=" << d.name;
    if (s.configuration) line << "  by " << *s.configuration;
    std::cout << apps::Printable(line.str()) << '\n';
    for (const auto& r : s.readings) {
      std::ostringstream reading;
      reading << "    " << r.testGroup << " / " << r.test << "  #" << r.sample << "  "
              << ValueText(r.value);
      if (!r.serialNumber.empty()) reading << "  serial " << r.serialNumber;
      if (!r.defect.empty()) reading << "  defect " << r.defect;
      std::cout << apps::Printable(reading.str()) << '\n';
    }
  }
  if (subgroups.empty() && asked > 0) std::cout << "no subgroups saved\n";
}

}  // namespace

int SubgroupsCommand(const SubgroupsOptions& options) {
  // Following starts at what is saved next unless told to show some before.
  const auto count = static_cast<int32_t>(options.last.value_or(options.follow ? 0 : 20));
  std::optional<FollowStop> stop;
  if (options.follow) stop.emplace();
  platform::PlatformComponents components;
  ReadHostSettings(components);
  std::unique_ptr<DamHost> host;
  bool appearing = false;
  const std::string connection = SpcConnection(components, options.spc);
  if (options.wait) {
    // What a database seen appearing holds was all saved while this waited.
    appearing = !MissingSpcFile(connection).empty();
    host = WaitForSpc(components, connection, std::cerr, *stop);
    if (!host) {
      stop->EndAsSignalled();
      return 0;
    }
  } else {
    host = OpenSpcForReading(components, options.spc);
  }
  auto& session = dynamic_cast<platform::SpcSession&>(*host->Session());
  if (options.follow) {
    const int status = WriteSubgroupsAsSaved(
        session, connection, appearing ? kEverySubgroup : count, std::cout, std::cerr, *stop);
    stop->EndAsSignalled();
    return status;
  }
  const auto subgroups = apps::Doing(apps::kExitUnreachable, "cannot read the SPC database",
                                     [&] { return platform::ReadSubgroups(session, count); });
  if (options.ndjson) {
    for (const auto& subgroup : subgroups) std::cout << JsonLine(SubgroupJson(subgroup));
  } else if (options.csv) {
    std::cout << SubgroupsCsv(subgroups);
  } else if (options.json) {
    QJsonArray out;
    for (const auto& subgroup : subgroups) out.append(SubgroupJson(subgroup));
    const QJsonObject document{{"schema", kJsonSchema}, {"subgroups", out}};
    std::cout << QJsonDocument(document).toJson(QJsonDocument::Indented).toStdString();
  } else {
    PrintTable(subgroups, count);
  }
  return 0;
}

}  // namespace dam
