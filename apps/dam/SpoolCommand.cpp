#include <filesystem>
#include <iostream>
#include <string>

#include "apps/dam/Commands.h"
#include "apps/dam/DamHost.h"
#include "apps/dam/MissingSpcFile.h"
#include "platform/components/PlatformComponents.h"
#include "platform/spcdb/SpcSession.h"
#include "runtime/Date.h"

namespace dam {
namespace {

int Usage() {
  std::cerr << "usage: dam spool | spool forward [--spc CONNECTION]"
               " | spool drop --before TIME [--yes]\n";
  return 2;
}

int List(platform::SpcSpool& spool) {
  // Reading never creates a database, as for the SPC database.
  if (!std::filesystem::exists(spool.Path())) {
    std::cerr << "dam spool: there is no spool at " << spool.Path()
              << " (this host never kept a subgroup)\n";
    return kNoDatabase;
  }
  const auto entries = spool.List();
  for (const platform::SpoolEntry& entry : entries) {
    std::cout << runtime::FormatGeneralDate(entry.time) << "  session " << entry.sessionNumber
              << "  " << entry.readings << " reading(s)";
    if (!entry.refused.empty()) std::cout << "  refused: " << entry.refused;
    std::cout << '\n';
  }
  std::cout << entries.size() << " subgroup(s) kept in " << spool.Path() << '\n';
  return 0;
}

int Forward(platform::PlatformComponents& components, const std::string& spc) {
  platform::SpcSpool& spool = components.Spool();
  DamHost host(components, SpcConnection(components, spc));
  auto& session = dynamic_cast<platform::SpcSession&>(*host.Session());
  const int64_t forwarded = spool.Forward(session, true);
  std::cout << "forwarded " << forwarded << " subgroup(s); " << spool.Depth() << " still kept in "
            << spool.Path() << '\n';
  return spool.Depth() == 0 ? 0 : 1;
}

int Drop(platform::SpcSpool& spool, const std::string& before, bool confirmed) {
  const std::optional<runtime::Date> time = runtime::ParseDate(before);
  if (!time) {
    std::cerr << "dam spool drop: \"" << before << "\" is not a time (yyyy-MM-dd HH:mm:ss)\n";
    return 2;
  }
  const int64_t count = spool.CountBefore(*time);
  if (count == 0) {
    std::cout << "no kept subgroup was collected before " << runtime::FormatGeneralDate(*time)
              << '\n';
    return 0;
  }
  if (!confirmed) {
    std::cout << "Drop " << count << " kept subgroup(s) collected before "
              << runtime::FormatGeneralDate(*time)
              << "? They are not in the SPC database and are lost. [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") {
      std::cout << "nothing dropped\n";
      return 1;
    }
  }
  std::cout << "dropped " << spool.RemoveBefore(*time) << " subgroup(s)\n";
  return 0;
}

}  // namespace

int SpoolCommand(const Arguments& args) {
  std::string action, spc, before;
  bool yes = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const bool hasValue = i + 1 < args.size();
    if (args[i] == "--spc" && hasValue) {
      spc = args[++i];
    } else if (args[i] == "--before" && hasValue) {
      before = args[++i];
    } else if (args[i] == "--yes") {
      yes = true;
    } else if (action.empty() && (args[i] == "forward" || args[i] == "drop")) {
      action = args[i];
    } else {
      return Usage();
    }
  }
  platform::PlatformComponents components;
  WarnIfSettingsShowPasswords(components);
  if (action == "forward") return Forward(components, spc);
  if (action == "drop") {
    return before.empty() || !spc.empty() ? Usage() : Drop(components.Spool(), before, yes);
  }
  if (!before.empty() || yes || !spc.empty()) return Usage();
  return List(components.Spool());
}

}  // namespace dam
