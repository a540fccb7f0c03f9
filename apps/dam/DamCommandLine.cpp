#include "apps/dam/DamCommandLine.h"

#include <unistd.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/WindowsSide.h"
#include "apps/dam/host/StopSignals.h"
#include "apps/shared/CommandLine.h"
#include "apps/shared/Failures.h"
#include "host/DriverRegistry.h"

namespace dam {
namespace {

using apps::CommandSpec;
using apps::ParsedArguments;

const char kFooter[] =
    "Environment:\n"
    "  DAM_SPC_CONNECTION  the SPC database's ODBC connection string (when --spc is not given)\n"
    "  DAM_LOG_DIR         folder of the collection log oxaGEPDAD6.LOG\n"
    "  DAM_SETTINGS_DIR    folder of the host setting file dam.ini\n"
    "  DAM_COMPONENT_DIR   folder of the table definition file oxaGEPDAD.INI\n"
    "  DAM_DATA_DIR        folder of the default SPC database spc.db and the spool spool.db\n"
    "  DAM_REGISTRY_FILE   the driver registry file\n"
    "\n"
    "Exit status:\n"
    "    0  done\n"
    "    1  failed (or, for check, warnings only)\n"
    "    2  the command line cannot be read\n"
    "    3  the configuration, or this host's dam.ini or spool, has errors\n"
    "    4  a database (SPC database or historian) cannot be reached\n"
    "    5  the configuration is inactive (ACTIVE=0)\n"
    "    6  a file given cannot be read: missing, no permission, no regular file, over 16 MB\n"
    "    7  the command shows windows or draws a picture, and the package dam-gui is missing\n"
    "  141  run: stopped because its output was closed, the driver first\n";

const apps::OptionSpec kSpc{"spc", "CONNECTION",
                            "the SPC database's ODBC connection string (default: "
                            "DAM_SPC_CONNECTION, else dam.ini, else spc.db in the data folder)"};
const apps::OptionSpec kDriver{
    "driver", "CLASS",
    std::string("the driver class to load (default ") + kDefaultDriverClass + ")"};

struct Command {
  CommandSpec spec;
  std::function<int(const ParsedArguments&)> run;
};

std::string First(const ParsedArguments& parsed) {
  return parsed.Positional().empty() ? "" : parsed.Positional().front();
}

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {{"dam register",
        "MODULE",
        "Adds the driver module MODULE (a shared library) to the host's driver registry, so that "
        "run, gui and setup can load its driver classes.",
        {{"MODULE", "the driver module file, e.g. build/oxaGEPDAD6.so"}},
        1,
        1,
        {},
        "dam register build/oxaGEPDAD6.so"},
       [](const ParsedArguments& p) { return RegisterCommand(First(p)); }},
      {{"dam unregister",
        "MODULE",
        "Removes the driver module MODULE from the host's driver registry.",
        {{"MODULE", "the driver module file"}},
        1,
        1,
        {},
        "dam unregister build/oxaGEPDAD6.so"},
       [](const ParsedArguments& p) { return UnregisterCommand(First(p)); }},
      {{"dam drivers",
        "",
        "Lists the registered driver classes and their module files.",
        {},
        0,
        0,
        {},
        "dam drivers"},
       [](const ParsedArguments&) { return DriversCommand(); }},
      {{"dam run",
        "PATH... [--spc CONNECTION] [--for DURATION] [--subgroups N] [--driver CLASS] "
        "[--activity] [--force] [--ndjson] [--rules 1,2,3,4]",
        "Runs the driver on each configuration file PATH names, one driver instance each: "
        "collects from the historian on each configuration's schedule and saves subgroups into "
        "the SPC database until Ctrl-C, SIGTERM, a closed output, --for or --subgroups ends it; "
        "each stops the drivers first. SIGHUP rereads the paths: a configuration whose file went "
        "stops, a new one starts, a changed one is loaded again, the others run on untouched. "
        "SIGUSR1 and SIGUSR2 are ignored. Each configuration is checked first (see dam check); "
        "one with errors is not run unless --force is given. Of several, one that cannot run is "
        "reported and the others run; the run fails only when none can. With --rules (or [Run] "
        "Rules in dam.ini), each saved subgroup's characteristics are judged on the chart of "
        "their latest 25 subgroups (see dam chart), and every point that breaks a rule is "
        "reported as out of control.",
        {{"PATH...",
          "configuration text files, or folders standing for every *.cfg in them; a path that "
          "names nothing stands for PATH.cfg, else the folder PATH.d"}},
        1,
        1'000'000,
        {kSpc,
         {"for", "DURATION", "stop after this long"},
         {"subgroups", "N", "stop once each configuration saved N subgroups"},
         kDriver,
         {"activity", "", "show the drivers' activity windows (needs a display and dam-gui)"},
         {"force", "", "run a configuration even when dam check finds errors in it"},
         {"ndjson", "", "print everything as JSON lines on stdout"},
         {"rules", "1,2,3,4", "report saved subgroups that break these Nelson rules (1 to 8)"}},
        "dam run line3.cfg line4.cfg /etc/dam/plant.d --for 8h --subgroups 1000"},
       [](const ParsedArguments& p) {
         RunOptions options;
         options.configs = p.Positional();
         options.spc = p.Value("spc");
         options.driverClass = p.Value("driver", kDefaultDriverClass);
         options.runFor = p.Duration("for");
         options.subgroups = p.Count("subgroups", 1, 2'000'000'000).value_or(-1);
         options.activity = p.Has("activity");
         options.force = p.Has("force");
         options.ndjson = p.Has("ndjson");
         if (options.activity) RequireWindows("--activity");
         options.rules = p.Value("rules");
         return RunCommand(options);
       }},
      {{"dam check",
        "PATH... [--driver CLASS]",
        "Reads each configuration file as the driver does and reports what it would ignore or "
        "misread, one line each: FILE:LINE: error|warning: text. Errors: values that are no "
        "numbers where numbers are read, unit codes outside 0-3, descriptor types outside 1-9, "
        "a fixed descriptor type used twice, evaluations outside 0-6, an unbalanced %TAG(, a "
        "test without group, name or value, lines the driver cannot read. Warnings: unknown "
        "keys, numbers that are not whole where whole ones are read, no DATALINK, a "
        "configuration not enabled (ACTIVE), a negative SYNCTIME, a historian that cannot be "
        "reached now, tags the historian does not have, no %TAG anywhere. Exit "
        "status 0 when clean, 1 with warnings only, 3 with errors, 6 when a file cannot be "
        "read.",
        {{"PATH...",
          "configuration text files, or folders standing for every *.cfg in them (as dam run "
          "takes them)"}},
        1,
        1'000'000,
        {kDriver},
        "dam check line3.cfg line4.cfg"},
       [](const ParsedArguments& p) {
         return CheckCommand({p.Positional(), p.Value("driver", kDefaultDriverClass)});
       }},
      {{"dam gui",
        "[PATH...] [--spc CONNECTION] [--driver CLASS]",
        "Opens the main window on the configuration files: start, stop, pause, setup, activity, "
        "chart and about for each. Closing the window, SIGINT or SIGTERM stops every driver.",
        {{"PATH...",
          "configuration text files, or folders standing for every *.cfg in them (as dam run "
          "takes them)"}},
        0,
        1'000'000,
        {kSpc, kDriver},
        "dam gui line3.cfg line4.cfg"},
       [](const ParsedArguments& p) {
         return RequireWindows("the main window")
             .Gui({p.Positional(), p.Value("spc"), p.Value("driver", kDefaultDriverClass)});
       }},
      {{"dam setup",
        "CONFIG [--spc CONNECTION] [--driver CLASS]",
        "Opens the driver's configuration dialog on CONFIG (a new file starts from the driver's "
        "defaults) and writes the file back on OK, keeping the old one as CONFIG.bak. A save "
        "that fails shows the dialog again; a file changed since it was read is overwritten "
        "only when confirmed, else the text is kept as CONFIG.mine. Exit status 1 on Cancel, "
        "6 when the text was not saved to CONFIG.",
        {{"CONFIG", "a configuration text file"}},
        1,
        1,
        {kSpc, kDriver},
        "dam setup line3.cfg"},
       [](const ParsedArguments& p) {
         return RequireWindows("the configuration dialog")
             .Setup({First(p), p.Value("spc"), p.Value("driver", kDefaultDriverClass)});
       }},
      {{"dam select-tag",
        "CONFIG [--value TEXT]",
        "Opens the tag browser on the historian of CONFIG and prints the %TAG(...) expression "
        "it builds. Exit status 1 and nothing printed on Cancel.",
        {{"CONFIG", "a configuration text file"}},
        1,
        1,
        {{"value", "TEXT", "the expression to start from"}},
        "dam select-tag line3.cfg --value '%TAG(Value, LINE1.TEMP)'"},
       [](const ParsedArguments& p) {
         return RequireWindows("the tag browser").SelectTag({First(p), p.Value("value")});
       }},
      {{"dam config show",
        "[--raw] [--json] [--show-secrets] CONFIG",
        "Prints the configuration CONFIG as the driver reads it, its tags and the state of its "
        "data link. Passwords are shown as *** unless --show-secrets is given. Exit status 3 "
        "when the driver cannot read the file to its end.",
        {{"CONFIG", "a configuration text file"}},
        1,
        1,
        {{"raw", "", "hand the file's bytes to the driver as they are (no line end changes)"},
         {"json", "", "print JSON"},
         {"show-secrets", "", "print passwords as they are"}},
        "dam config show --json line3.cfg"},
       [](const ParsedArguments& p) {
         return ConfigShowCommand({First(p), p.Has("raw"), p.Has("json"), p.Has("show-secrets")});
       }},
      {{"dam subgroups",
        "[--spc CONNECTION] [--last N] [--json | --ndjson | --csv] [--follow [--wait]]",
        "Prints the subgroups last saved in the SPC database, oldest first. --json prints one "
        "document, --ndjson one object per line (both with \"schema\": 1); --follow --ndjson "
        "then prints each subgroup as it is saved, until Ctrl-C or SIGTERM, and with --wait "
        "first waits for a database that is not there yet or does not answer, as tail -F "
        "waits for a file. --csv prints one row per subgroup: its time and descriptors, then "
        "one column per characteristic sample, GROUP/TEST#k. Exit status 4 when there is no "
        "such database.",
        {},
        0,
        0,
        {kSpc,
         {"last", "N", "how many subgroups (default 20, or 0 with --follow)"},
         {"json", "", "print one JSON document"},
         {"ndjson", "", "print one JSON object per line"},
         {"csv", "", "print CSV (RFC 4180), one row per subgroup"},
         {"follow", "", "go on printing new subgroups as they are saved (needs --ndjson)"},
         {"wait", "", "with --follow: wait for the database to be there and to answer"}},
        "dam subgroups --follow --ndjson | jq ."},
       [](const ParsedArguments& p) {
         SubgroupsOptions options{p.Value("spc"),  p.Count("last", 0, 1'000'000),
                                  p.Has("json"),   p.Has("ndjson"),
                                  p.Has("follow"), p.Has("csv"),
                                  p.Has("wait")};
         if (options.json + options.ndjson + options.csv > 1) {
           throw apps::UsageError(
               apps::UsageLine("dam subgroups", "--json, --ndjson and --csv exclude each other"));
         }
         if (options.follow && !options.ndjson) {
           throw apps::UsageError(apps::UsageLine("dam subgroups", "--follow needs --ndjson"));
         }
         if (options.wait && !options.follow) {
           throw apps::UsageError(apps::UsageLine("dam subgroups", "--wait needs --follow"));
         }
         return SubgroupsCommand(options);
       }},
      {{"dam chart",
        "--test GROUP/TEST [--spc CONNECTION] [--last N | --from TIME --to TIME] "
        "[--rules 1,2,3,4] [--json] [--out FILE.png|FILE.svg]",
        "Prints the control chart of one test over the latest subgroups that hold it, or those "
        "of a time span: X-bar and R for 2 to 10 samples a subgroup, X-bar and S above, "
        "individuals and moving range for 1; its centre lines and limits, and every point that "
        "breaks one of the chosen Nelson rules (rule 1 also on the spread chart). Readings "
        "with a defect code are left out and counted. --out draws both charts to a PNG or SVG "
        "file, without a display. Exit status 1 when the database has no such test.",
        {},
        0,
        0,
        {{"test", "GROUP/TEST", "the test group and the test"},
         kSpc,
         {"last", "N", "the latest N subgroups holding the test (default 25)"},
         {"from", "TIME", "the subgroups from this time (yyyy-MM-dd HH:mm:ss) on"},
         {"to", "TIME", "the subgroups up to this time"},
         {"rules", "1,2,3,4", "the Nelson rules to judge (1 to 8; default 1,2,3,4)"},
         {"json", "", "print one JSON document"},
         {"out", "FILE", "also draw the chart into FILE (.png or .svg; needs dam-gui)"}},
        "dam chart --test Fill/Weight --last 50 --out weight.png"},
       [](const ParsedArguments& p) {
         return ChartCommand({p.Value("test"), p.Value("spc"), p.Count("last", 1, 1'000'000),
                              p.Value("from"), p.Value("to"),
                              p.Has("rules") ? std::optional(p.Value("rules")) : std::nullopt,
                              p.Has("json"), p.Value("out")});
       }},
      {{"dam spool",
        "[forward [--spc CONNECTION] | drop --before TIME [--yes]]",
        "Lists the subgroups kept in the local spool while the SPC database was away; forward "
        "sends them to the SPC database now (refused ones again too); drop removes those "
        "collected before TIME after asking.",
        {{"forward|drop", "what to do with the kept subgroups (default: list them)"}},
        0,
        1,
        {kSpc,
         {"before", "TIME", "drop: the collection time (yyyy-MM-dd HH:mm:ss) to drop before"},
         {"yes", "", "drop: do not ask"}},
        "dam spool drop --before \"2026-11-23 06:00\""},
       [](const ParsedArguments& p) {
         return SpoolCommand({First(p), p.Value("spc"), p.Value("before"), p.Has("yes")});
       }},
  };
  return commands;
}

const CommandSpec kProgram{
    "dam",
    "[-h|--help] [--version] [--verbose] COMMAND [OPTIONS]",
    "The standalone host of data acquisition drivers: registers driver modules, runs a driver "
    "on a configuration file, checks and shows configurations, and shows saved subgroups.",
    {{"COMMAND", "one of the commands below; dam COMMAND --help or dam help COMMAND for its help"}},
    0,
    0,
    {{"version", "", "print the versions of dam and the driver and exit"}},
    "dam run line3.cfg --for 8h"};

std::string ProgramHelp() {
  std::string commands = "Commands:\n";
  for (const Command& command : Commands()) {
    const std::string& synopsis = command.spec.synopsis;
    commands +=
        "  " + command.spec.invocation.substr(4) + (synopsis.empty() ? "" : " ") + synopsis + "\n";
  }
  return apps::HelpText(kProgram, commands + "\n" + kFooter);
}

int Version() {
  std::cout << "dam " << DAM_VERSION << "\n" << kDefaultDriverClass << " " << DAM_VERSION;
  const auto drivers = host::ReadDriverRegistry();
  const auto registered = std::find_if(drivers.begin(), drivers.end(), [](const auto& driver) {
    return driver.className == kDefaultDriverClass;
  });
  if (registered == drivers.end()) {
    std::cout << " (not registered)\n";
  } else {
    std::cout << " (registered: " << registered->modulePath << ")\n";
  }
  return apps::kExitOk;
}

const Command* Find(const std::string& name) {
  for (const Command& command : Commands()) {
    if (command.spec.invocation == "dam " + name) return &command;
  }
  return nullptr;
}

// The command named at the front of `args`, taken off them; "config show" is two words,
// and "config" alone, or before an option, is taken for it (`dam config --help`).
const Command& TakeCommand(std::vector<std::string>& args) {
  std::string name = args.front();
  args.erase(args.begin());
  if (name == "config") {
    if (!args.empty() && args.front() == "show") {
      args.erase(args.begin());
    } else if (!args.empty() && !args.front().starts_with('-')) {
      name += " " + args.front();
    }
    if (name == "config") name = "config show";
  }
  const Command* command = Find(name);
  if (!command)
    throw apps::UsageError(apps::UsageLine(kProgram.invocation, "unknown command '" + name + "'"));
  return *command;
}

int Help(std::vector<std::string> topic) {
  if (topic.empty()) {
    std::cout << ProgramHelp();
    return apps::kExitOk;
  }
  std::cout << apps::HelpText(TakeCommand(topic).spec, kFooter);
  return apps::kExitOk;
}

}  // namespace

int Main(const std::vector<std::string>& args, WindowsSide* windows) {
  SetProgramWindows(args, windows);
  const auto command = std::find_if(args.begin(), args.end(),
                                    [](const std::string& arg) { return !arg.starts_with('-'); });
  std::string invocation = "dam";
  bool verbose = false;
  try {
    const ParsedArguments global(kProgram, {args.begin(), command});
    verbose = global.Verbose();
    if (global.Help()) return Help({});
    if (global.Has("version")) return Version();
    if (command == args.end())
      throw apps::UsageError(apps::UsageLine(kProgram.invocation, "missing COMMAND"));
    std::vector<std::string> rest(command, args.end());
    if (rest.front() == "help") return Help({rest.begin() + 1, rest.end()});
    const Command& chosen = TakeCommand(rest);
    invocation = chosen.spec.invocation;
    const ParsedArguments parsed(chosen.spec, rest);
    verbose = verbose || parsed.Verbose();
    if (parsed.Help()) {
      std::cout << apps::HelpText(chosen.spec, kFooter);
      return apps::kExitOk;
    }
    const int status = chosen.run(parsed);
    // A reader that went away (`| head -1`) ended the command as SIGPIPE would, and said so
    // where it had to.
    if (!OutputClosed(STDOUT_FILENO)) apps::CheckOutputWritten();
    return status;
  } catch (...) {
    return apps::ReportFailure(invocation, std::current_exception(), verbose);
  }
}

}  // namespace dam
