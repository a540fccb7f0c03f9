// dam: the standalone host of data acquisition drivers. Registers driver modules, runs a
// driver on a configuration file, and shows configurations and saved subgroups.
#include <iostream>

#include "apps/dam/Commands.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "runtime/Error.h"

namespace {

int Usage() {
  std::cerr << "usage:\n"
               "  dam register MODULE | unregister MODULE | drivers\n"
               "  dam run CONFIG [--spc CONNECTION] [--for DURATION] [--subgroups N] [--activity]\n"
               "          [--ndjson]\n"
               "  dam gui [CONFIG...] [--spc CONNECTION]\n"
               "  dam setup CONFIG [--spc CONNECTION]\n"
               "  dam select-tag CONFIG [--value TEXT]\n"
               "  dam config show [--raw] [--json] [--show-secrets] CONFIG\n"
               "  dam subgroups [--spc CONNECTION] [--last N] [--json | --ndjson] [--follow]\n"
               "  dam spool | spool forward [--spc CONNECTION]\n"
               "  dam spool drop --before TIME [--yes]\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  dam::Arguments args(argv + 1, argv + argc);
  if (args.empty()) return Usage();
  const std::string command = args.front();
  args.erase(args.begin());
  try {
    if (command == "register") return dam::RegisterCommand(args);
    if (command == "unregister") return dam::UnregisterCommand(args);
    if (command == "drivers") return dam::DriversCommand(args);
    if (command == "run") return dam::RunCommand(args);
    if (command == "subgroups") return dam::SubgroupsCommand(args);
    if (command == "gui") return dam::GuiCommand(args);
    if (command == "setup") return dam::SetupCommand(args);
    if (command == "select-tag") return dam::SelectTagCommand(args);
    if (command == "spool") return dam::SpoolCommand(args);
    if (command == "screenshots") return dam::ScreenshotsCommand(args);
    if (command == "config" && !args.empty() && args.front() == "show") {
      return dam::ConfigShowCommand(dam::Arguments(args.begin() + 1, args.end()));
    }
  } catch (const runtime::Error& e) {
    // Errors may repeat a connection string, with its password.
    std::cerr << "dam " << command << ": "
              << platform::MaskConnectionSecrets(e.NumberAndDescription()) << '\n';
    return 1;
  } catch (const std::exception& e) {
    std::cerr << "dam " << command << ": " << platform::MaskConnectionSecrets(e.what()) << '\n';
    return 1;
  }
  return Usage();
}
