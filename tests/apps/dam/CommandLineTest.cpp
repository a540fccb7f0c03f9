// The command line of the real dam and histsim programs: mistakes name the argument and
// exit 2, help and versions go to stdout with 0, and the exit statuses tell a bad
// configuration (3) and an unreachable database (4) from other failures (1).

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <regex>

#include "tests/apps/dam/DamProcesses.h"

namespace {

struct Outcome {
  int exitCode;
  std::string out, err;
};

class CommandLine : public damtest::DamProcesses {
 protected:
  // `line` is the program's name and its arguments, with CFG for `config`.
  Outcome Exec(const std::string& line, const std::string& config = "") {
    QStringList args = QString::fromStdString(Expand(line, config)).split(' ');
    auto process = Start(args.takeFirst() == "dam" ? DAM_PROGRAM : HISTSIM_PROGRAM, args,
                         QProcess::SeparateChannels);
    EXPECT_TRUE(process->waitForFinished(120'000));
    return {process->exitCode(), process->readAllStandardOutput().toStdString(),
            process->readAllStandardError().toStdString()};
  }

  static std::string Expand(const std::string& text, const std::string& config) {
    return std::regex_replace(text, std::regex("CFG"), config);
  }
};

TEST_F(CommandLine, MistakesNameTheArgumentOnOneLineAndExitTwo) {
  const std::string config = WriteFile("line.cfg", "NAME=Line\nACTIVE=1\n").toStdString();
  // What stderr names, and the command whose help it points to.
  const struct {
    const char *line, *named, *help;
  } cases[] = {
      {"dam", "missing COMMAND", "dam"},
      {"dam frobnicate", "unknown command 'frobnicate'", "dam"},
      {"dam --bogus run", "unknown option '--bogus'", "dam"},
      {"dam config hide CFG", "unknown command 'config hide'", "dam"},
      {"dam help frobnicate", "unknown command 'frobnicate'", "dam"},
      {"dam run CFG --bogus", "unknown option '--bogus'", "dam run"},
      {"dam run CFG --bogus=1", "unknown option '--bogus=1'", "dam run"},
      {"dam run CFG --for", "missing value after '--for'", "dam run"},
      {"dam run CFG --for 5x", "--for '5x' is not a DURATION", "dam run"},
      {"dam run CFG --for=-1", "--for '-1' is not a DURATION", "dam run"},
      {"dam run CFG --subgroups -3", "--subgroups '-3' is not a whole number", "dam run"},
      {"dam run CFG --subgroups=2.5", "--subgroups '2.5'", "dam run"},
      {"dam run CFG --activity=yes", "unexpected value after '--activity'", "dam run"},
      {"dam run", "missing PATH...", "dam run"},
      {"dam check", "missing PATH...", "dam check"},
      {"dam config show", "missing CONFIG", "dam config show"},
      {"dam subgroups --last x", "--last 'x'", "dam subgroups"},
      {"dam subgroups --follow", "--follow needs --ndjson", "dam subgroups"},
      {"dam subgroups --ndjson --wait", "--wait needs --follow", "dam subgroups"},
      {"dam subgroups --json --ndjson", "--json, --ndjson and --csv exclude each other",
       "dam subgroups"},
      {"dam subgroups --csv --json", "--json, --ndjson and --csv exclude each other",
       "dam subgroups"},
      {"dam chart", "missing --test GROUP/TEST", "dam chart"},
      {"dam chart --test Weight", "--test 'Weight' is not GROUP/TEST", "dam chart"},
      {"dam chart --test F/W --rules 1,9", "--rules '1,9' is not a list of rules 1 to 8",
       "dam chart"},
      {"dam chart --test F/W --rules=", "--rules '' is not a list of rules 1 to 8", "dam chart"},
      {"dam chart --test F/W --last 5 --to 2026-01-01", "--last and --from/--to exclude each other",
       "dam chart"},
      {"dam chart --test F/W --from 2026-02-01 --to 2026-01-01", "--from is after --to",
       "dam chart"},
      {"dam chart --test F/W --from soon", "--from 'soon' is not a time", "dam chart"},
      {"dam chart --test F/W --out w.jpg", "--out 'w.jpg' is neither a .png nor an .svg file",
       "dam chart"},
      {"dam register", "missing MODULE", "dam register"},
      {"dam spool drop", "drop needs --before TIME", "dam spool"},
      {"dam spool drop --before soon", "--before 'soon' is not a time", "dam spool"},
      {"dam spool --yes", "--yes does not go with listing", "dam spool"},
      {"dam spool burn", "unknown action 'burn'", "dam spool"},
      {"histsim", "missing HISTORIAN", "histsim"},
      {"histsim ", "HISTORIAN is empty", "histsim"},
      {"histsim h.db --period 0", "--period '0' is not a positive DURATION", "histsim"},
      {"histsim h.db --measurements 100001", "--measurements '100001'", "histsim"},
      {"histsim h.db --seed", "missing value after '--seed'", "histsim"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const Outcome outcome = Exec(c.line, config);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_HAS(outcome.err, Expand(c.named, config));
    EXPECT_TRUE(outcome.err.ends_with("Try '" + std::string(c.help) + " --help'.\n"))
        << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  }
}

TEST_F(CommandLine, HelpAndVersionGoToStdoutAndExitZero) {
  struct Case {
    std::string line;
    std::vector<std::string> shown;
  };
  std::vector<Case> cases = {
      {"dam --help",
       {"Usage: dam [-h|--help]", "-h, --help", "check PATH...", "DAM_REGISTRY_FILE",
        "Exit status:"}},
      {"dam help", {"Usage: dam [-h|--help]"}},
      {"dam -h", {"Usage: dam [-h|--help]"}},
      {"dam run -h", {"Usage: dam run PATH..."}},
      {"dam run --help",
       {"Usage: dam run PATH...", "--force", "DURATION is", "DAM_SPC_CONNECTION",
        "Example:\n  dam run"}},
      {"dam run --for=5x --help", {"Usage: dam run PATH..."}},
      {"dam help run", {"Usage: dam run PATH..."}},
      {"dam help config show", {"Usage: dam config show"}},
      {"dam help config", {"Usage: dam config show"}},
      {"dam config --help", {"Usage: dam config show"}},
      {"dam --version", {"dam 6.", "oxaGEPDAD6.Version1 6.", "(registered: "}},
      {"histsim --help", {"Usage: histsim HISTORIAN", "--measurements N", "DURATION is"}},
      {"histsim -h", {"Usage: histsim HISTORIAN", "--version"}},
      {"histsim --version", {"histsim 6."}},
  };
  for (const std::string command :
       {"check", "config show", "subgroups", "chart", "spool", "register", "unregister", "drivers",
        "gui", "setup", "select-tag"}) {
    cases.push_back({"dam " + command + " --help", {"Usage: dam " + command}});
  }
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const Outcome outcome = Exec(c.line);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    for (const std::string& text : c.shown) {
      EXPECT_HAS(outcome.out, text);
    }
  }
}

// Check runs the registered module's check, gives each finding a line naming its file and
// line, without SQLSTATEs, and exits with the worst; run refuses what check calls an error
// unless forced (HostFaultTest).
TEST_F(CommandLine, CheckExitsZeroOneOrThreeAndRunRefusesErrors) {
  EXPECT_EQ(Exec("histsim " + historian_ + " --steps 1").exitCode, 0);
  const std::string head = "NAME=A\nACTIVE=1\nDATALINK=Driver=SQLite3;Database=";
  const auto file = [&](const std::string& name, const std::string& text) {
    return WriteFile(name, text).toStdString();
  };
  const std::string clean =
      file("clean.cfg", head + historian_ + ";NoCreat=1\n" + damtest::kWeight);
  // With the historian away its tags cannot be looked for.
  const std::string away = file(
      "away.cfg", head + work_.File("none.db") + ";NoCreat=1\nTEST=F\tW\t%TAG(LINE1.MISSING)\n");
  const std::string wrong = file(
      "wrong.cfg", "NAME=A\nDATALINK=Driver=SQLite3;Database=" + historian_ + "\nSUBGROUPUNIT=7\n");
  const std::string unlinked = file("unlinked.cfg", "NAME=A\n" + damtest::kWeight);
  const std::string withoutModules = "without a registered module: ";
  const struct {
    std::string line;
    int exitCode;
    std::vector<std::string> out, err;  // each line of `out` is one finding
  } cases[] = {
      {"dam check " + clean, 0, {}, {}},
      {"dam check " + away,
       1,
       {away + ":3: warning: the historian cannot be reached now: Unable to Connect ("},
       {}},
      {"dam check " + wrong,
       3,
       {wrong + ":3: error: SUBGROUPUNIT 7 is no unit", wrong + ": warning: no ACTIVE",
        wrong + ": warning: no %TAG(...) anywhere: the driver reads no tag, so it never collects"},
       {}},
      {"dam check " + unlinked,
       1,
       {unlinked + ": warning: no ACTIVE: the configuration is disabled: the driver does not "
                   "start it (ACTIVE=1 enables it)",
        unlinked + ": warning: no DATALINK: the driver has no historian to read"},
       {}},
      {"dam check " + clean + " " + away + " " + wrong,
       3,
       {":3: warning:", ":3: error:", ": warning: no ACTIVE", ": warning: no %TAG(...) anywhere",
        away + ": error: its name A is the name of " + clean, wrong + ": error: its name A"},
       {}},
      {"dam check " + work_.File("missing.cfg"),
       6,
       {"missing.cfg: error: there is no configuration file"},
       {}},
      {"dam run " + wrong + " --for 1", 3, {}, {wrong + ":3: error: SUBGROUPUNIT 7", "--force"}},
      // The rules are the registered module's own: without a module there are none to check by.
      {"dam check --driver Other.Version1 " + clean,
       1,
       {},
       {"No driver module is registered for Other.Version1"}},
      {withoutModules + "dam check " + clean, 1, {}, {"dam check: No driver module is registered"}},
      // Reading adds no SPC tables to a historian, makes no file named after a string that
      // names none, and says why it cannot look a path up.
      {"dam subgroups --spc Driver=SQLite3;Database=" + historian_,
       4,
       {},
       {historian_ + " is not an SPC database"}},
      {"dam subgroups --spc Driver=SQLite3;Database=;Timeout=100",
       4,
       {},
       {"The SQLite3 connection string names no database file"}},
      {"dam subgroups --spc Driver=SQLite3;Database=/" + std::string(300, 'x'),
       4,
       {},
       {": File name too long"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const bool unregistered = c.line.starts_with(withoutModules);
    if (unregistered)
      environment_.insert("DAM_REGISTRY_FILE", QString::fromStdString(work_.File("none.registry")));
    const Outcome outcome = Exec(unregistered ? c.line.substr(withoutModules.size()) : c.line);
    EXPECT_EQ(outcome.exitCode, c.exitCode) << outcome.out << outcome.err;
    EXPECT_EQ(static_cast<size_t>(std::count(outcome.out.begin(), outcome.out.end(), '\n')),
              c.out.size());
    EXPECT_LACKS(outcome.out, "SQLSTATE");
    for (const auto& [said, stream] :
         {std::pair(c.out, outcome.out), std::pair(c.err, outcome.err)}) {
      for (const std::string& line : said) {
        EXPECT_HAS(stream, line);
      }
      if (said.empty()) {
        EXPECT_EQ(stream, "");
      }
    }
  }
}

TEST_F(CommandLine, FailuresArePlainSentencesWithTheirNumbersOnlyWhenVerbose) {
  const std::string config = WriteFile("line.cfg", "NAME=Line\nACTIVE=1\n").toStdString();
  const struct {
    std::string line;
    int exitCode;
    std::string said;
  } cases[] = {
      {"subgroups --spc Driver=Nope;Database=x", 4,
       "dam subgroups: cannot open the SPC database: "},
      {"run " + config + " --for 1 --spc Driver=Nope;Database=x", 4,
       "dam run: cannot open the SPC database: "},
      // The SQLite driver says only "connect failed": the file system tells why.
      {"run " + config + " --for 1 --spc Driver=SQLite3;Database=" + work_.File("gone/spc.db"), 4,
       "dam run: cannot open the SPC database: [SQLite]connect failed (cannot make " +
           work_.File("gone/spc.db") + ": its folder " + work_.File("gone") +
           ": No such file or directory)\n"},
      {"chart --test F/W --spc Driver=Nope;Database=x", 4,
       "dam chart: cannot open the SPC database: "},
      {"spool forward --spc Driver=Nope;Database=x", 4,
       "dam spool: cannot forward to the SPC database: "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    Outcome outcome = Exec("dam " + c.line);
    EXPECT_EQ(outcome.exitCode, c.exitCode) << outcome.err;
    EXPECT_HAS(outcome.err, c.said);
    EXPECT_LACKS(outcome.err, "SQLSTATE");
    EXPECT_LACKS(outcome.err, " - ");
    EXPECT_LACKS(outcome.out, "NAME=");

    outcome = Exec("dam --verbose " + c.line);
    EXPECT_EQ(outcome.exitCode, c.exitCode) << outcome.err;
    EXPECT_HAS(outcome.err, " - ") << "a number: ";
  }

  // Output that does not reach its file (a full disk) fails the command, where an export was
  // cut off with 0; a run collects on and says so at once (and makes the SPC database).
  for (const std::string& line : {"run " + config + " --force --for 1",
                                  std::string("subgroups --csv"), "config show " + config}) {
    SCOPED_TRACE(line);
    QProcess process;
    process.setProcessEnvironment(environment_);
    process.setStandardOutputFile("/dev/full");
    process.start(DAM_PROGRAM, QString::fromStdString(line).split(' '));
    ASSERT_TRUE(process.waitForFinished(60'000));
    EXPECT_EQ(process.exitCode(), 1);
    const std::string err = process.readAllStandardError().toStdString();
    EXPECT_HAS(err, ": cannot write the output\n");
    if (line.starts_with("run")) {
      EXPECT_HAS(err, "the output cannot be written: ");
    }
  }

  // Windows without a display: a sentence, where Qt would abort the program (exit 1). A dam
  // without dam-gui beside it, as installed without the package: one sentence, exit 7,
  // before anything is read.
  for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
    environment_.remove(name);
  }
  const std::string alone = work_.File("bin/dam");
  std::filesystem::create_directories(work_.File("bin"));
  std::filesystem::copy_file(DAM_PROGRAM, alone);
  const struct {
    std::string line, needs;  // `needs` the package dam-gui
  } windows[] = {
      {"gui", "dam gui: the main window"},
      {"setup CFG", "dam setup: the configuration dialog"},
      {"select-tag CFG", "dam select-tag: the tag browser"},
      {"run CFG --activity", "dam run: --activity"},
      {"chart --test F/W --out w.png --spc Driver=Nope", "dam chart: --out"},
  };
  for (const auto& c : windows) {
    SCOPED_TRACE(c.line);
    if (!c.line.starts_with("chart")) {
      const Outcome outcome = Exec("dam " + c.line, config);
      EXPECT_EQ(outcome.exitCode, 1) << outcome.err;
      EXPECT_HAS(outcome.err, ": cannot show windows: no display");
    }
    auto process = Start(alone.c_str(), QString::fromStdString(Expand(c.line, config)).split(' '),
                         QProcess::SeparateChannels);
    ASSERT_TRUE(process->waitForFinished(60'000));
    EXPECT_EQ(process->exitCode(), 7);
    EXPECT_EQ(process->readAllStandardError().toStdString(),
              c.needs + " needs the package dam-gui: apt install dam-gui\n");
  }
}

// A configuration file is a regular file of at most 16 MB: anything else, and a missing file,
// is refused at once with one exit status (6) in every command, where /dev/zero was read
// until the kernel stopped it and a FIFO blocked for good. Its text is shown, never obeyed:
// control characters reach the terminal as \xNN, tabs as they are.
TEST_F(CommandLine, UnreadableFilesExitSixInactiveOnesFiveAndControlCharactersShowEscaped) {
  const std::string fifo = work_.File("fifo.cfg");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const std::string big = WriteFile("big.cfg", "").toStdString();
  std::filesystem::resize_file(big, (16 << 20) + 1);
  const std::string missing = work_.File("missing.cfg");
  const struct {
    std::string file, said;
  } files[] = {{missing, "there is no configuration file " + missing},
               {work_.Subfolder("folder"), "folder is a folder, not a configuration file"},
               {fifo, "fifo.cfg is a FIFO, not"},
               {"/dev/zero", "/dev/zero is a device, not"},
               {big, "big.cfg is larger than 16 MB"}};
  for (const auto& file : files) {
    for (const std::string command : {"check", "config show", "run"}) {
      SCOPED_TRACE(command + " " + file.file);
      const Outcome outcome = Exec("dam " + command + " " + file.file);
      // run and check take a folder for the configurations in it.
      const std::string said = file.file == work_.File("folder") && command != "config show"
                                   ? "no configuration (*.cfg) in " + file.file
                                   : file.said;
      EXPECT_EQ(outcome.exitCode, 6);
      EXPECT_HAS(outcome.out + outcome.err, said);
    }
  }
  Outcome outcome = Exec("dam register " + work_.File("none.so"));
  EXPECT_EQ(outcome.exitCode, 6) << outcome.err;
  EXPECT_HAS(outcome.err, "there is no driver module file");
  // A service's NAME that stands for an empty NAME.d is told by the folder's name.
  work_.Subfolder("plant.d");
  outcome = Exec("dam run " + work_.File("plant"));
  EXPECT_HAS(outcome.err, "no configuration (*.cfg) in " + work_.File("plant.d"));
  outcome = Exec("dam run CFG --for 1", WriteFile("off.cfg", "NAME=Off\nACTIVE=0\n").toStdString());
  EXPECT_EQ(outcome.exitCode, 5) << outcome.err;
  EXPECT_HAS(outcome.err, "off.cfg is inactive (ACTIVE=0)");

  const std::string config =
      WriteFile("escapes.cfg",
                "NAME=Line\x1b]0;owned\x07\nACTIVE=1\nBOGUS\x1b[2J=1\nTEST=Fill\tWeight\t"
                "%TAG(A\x1b[2J\xc2\x9b)\r\n")
          .toStdString();
  const struct {
    std::string command;
    std::vector<std::string> shown;
  } views[] = {{"check", {":3: warning: unknown key 'BOGUS\\x1B[2J'"}},
               {"config show",
                {"NAME=Line\\x1B]0;owned\\x07\n", "TEST=Fill\tWeight\t%TAG(A\\x1B[2J\\u009B)\t\n",
                 "\n  A\\x1B[2J\\u009B\n"}},
               {"config show --raw", {"NAME=Line\\x1B]0;owned\\x07\n"}}};
  for (const auto& view : views) {
    SCOPED_TRACE(view.command);
    outcome = Exec("dam " + view.command + " " + config);
    const std::string shown = outcome.out + outcome.err;
    EXPECT_EQ(shown.find('\x1b'), std::string::npos) << shown;
    EXPECT_LACKS(shown, "\xc2\x9b");
    for (const std::string& part : view.shown) {
      EXPECT_HAS(shown, part);
    }
  }
}

}  // namespace
