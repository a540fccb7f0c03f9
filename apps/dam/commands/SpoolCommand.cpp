#include <filesystem>
#include <iostream>
#include <string>

#include "apps/dam/Commands.h"
#include "apps/dam/host/DamHost.h"
#include "apps/shared/CommandLine.h"
#include "apps/shared/Failures.h"
#include "platform/components/PlatformComponents.h"
#include "platform/spcdb/SpcSession.h"
#include "runtime/Date.h"

namespace dam {
namespace {

// The options that go with the action; any other is a usage error naming it.
void Allow(const SpoolOptions& options, bool spc, bool before) {
  const std::string action = options.action.empty() ? "listing" : options.action;
  auto refuse = [&](const std::string& option) {
    throw apps::UsageError(
        apps::UsageLine("dam spool", "--" + option + " does not go with " + action));
  };
  if (!spc && !options.spc.empty()) refuse("spc");
  if (!before && !options.before.empty()) refuse("before");
  if (!before && options.yes) refuse("yes");
}

// `database` is the one the host forwards to: rows kept for another are marked.
int List(platform::SpcSpool& spool, const std::string& database) {
  if (!spool.MovedAsideTo().empty()) {
    throw apps::Failure(apps::kExitFailure,
                        "the spool at " + spool.Path() +
                            " was damaged and has been moved aside to " + spool.MovedAsideTo() +
                            "; the subgroups it held cannot be listed or forwarded, and are not "
                            "in the SPC database unless saved there before");
  }
  // Reading never creates a database, as for the SPC database.
  if (!std::filesystem::exists(spool.Path())) {
    throw apps::Failure(apps::kExitUnreachable, "there is no spool at " + spool.Path() +
                                                    " (this host never kept a subgroup)");
  }
  const auto entries = spool.List();
  for (const platform::SpoolEntry& entry : entries) {
    std::cout << runtime::FormatGeneralDate(entry.time) << "  session " << entry.sessionNumber
              << "  " << entry.readings << " reading(s)";
    if (!entry.database.empty() && entry.database != database) {
      std::cout << "  for another SPC database (" << entry.database << ")";
    }
    if (!entry.refused.empty()) std::cout << "  refused: " << entry.refused;
    std::cout << '\n';
  }
  std::cout << entries.size() << " subgroup(s) kept in " << spool.Path() << '\n';
  return 0;
}

int Forward(platform::PlatformComponents& components, platform::SpcSpool& spool,
            const std::string& spc) {
  const std::string connection = SpcConnection(components, spc);
  const int64_t forwarded =
      apps::Doing(apps::kExitUnreachable, "cannot forward to the SPC database", [&] {
        DamHost host(components, connection);
        auto& session = dynamic_cast<platform::SpcSession&>(*host.Session());
        return spool.Forward(session, true);
      });
  const int64_t others = static_cast<int64_t>(spool.List().size()) - spool.Depth();
  std::cout << "forwarded " << forwarded << " subgroup(s); " << spool.Depth() << " still kept in "
            << spool.Path();
  if (others > 0) std::cout << " (and " << others << " for other SPC databases)";
  std::cout << '\n';
  return spool.Depth() == 0 ? 0 : 1;
}

int Drop(platform::SpcSpool& spool, const std::string& before, bool confirmed) {
  const std::optional<runtime::Date> time = runtime::ParseDate(before);
  if (!time) {
    throw apps::UsageError(apps::UsageLine(
        {"dam spool"}, "--before '" + before + "' is not a time (yyyy-MM-dd HH:mm:ss)"));
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

int SpoolCommand(const SpoolOptions& options) {
  if (options.action != "" && options.action != "forward" && options.action != "drop") {
    throw apps::UsageError(apps::UsageLine("dam spool", "unknown action '" + options.action + "'"));
  }
  Allow(options, options.action == "forward", options.action == "drop");
  if (options.action == "drop" && options.before.empty()) {
    throw apps::UsageError(apps::UsageLine("dam spool", "drop needs --before TIME"));
  }
  platform::PlatformComponents components;
  ReadHostSettings(components);
  platform::SpcSpool& spool = SettingUpThisHost([&]() -> auto& { return components.Spool(); });
  if (options.action == "forward") return Forward(components, spool, options.spc);
  if (options.action == "drop") return Drop(spool, options.before, options.yes);
  return List(spool, platform::SpcSpool::DatabaseId(SpcConnection(components, options.spc)));
}

}  // namespace dam
