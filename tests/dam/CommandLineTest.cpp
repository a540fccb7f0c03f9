// The command line of the real dam and histsim programs: mistakes name the argument and
// exit 2, help and versions go to stdout with 0, and the exit statuses tell a bad
// configuration (3) and an unreachable database (4) from other failures (1).
#include <gtest/gtest.h>

#include <QProcess>
#include <algorithm>
#include <fstream>

#include "tests/dam/DamProcesses.h"
#include "tests/support/Historian.h"

namespace {

struct Outcome {
  int exitCode;
  std::string out, err;
};

class CommandLine : public damtest::DamProcesses {
 protected:
  Outcome Exec(const char* program, const QStringList& args) {
    QProcess process;
    process.setProcessEnvironment(environment_);
    process.start(program, args);
    EXPECT_TRUE(process.waitForFinished(120'000));
    return {process.exitCode(), process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
  }

  QString File(const std::string& name, const std::string& text) {
    std::ofstream(work_.File(name)) << text;
    return QString::fromStdString(work_.File(name));
  }

  // A historian with the demo's tags, made by histsim.
  std::string Historian() {
    const std::string path = work_.File("historian.db");
    EXPECT_EQ(Exec(HISTSIM_PROGRAM, {QString::fromStdString(path), "--steps", "1"}).exitCode, 0);
    return path;
  }
};

TEST_F(CommandLine, MistakesNameTheArgumentOnOneLineAndExitTwo) {
  const QString config = File("line.cfg", "NAME=Line\nACTIVE=1\n");
  const struct {
    const char* program;
    QStringList args;
    std::string named;  // what stderr must name
    std::string hint;
  } cases[] = {
      {DAM_PROGRAM, {}, "missing COMMAND", "Try 'dam --help'."},
      {DAM_PROGRAM, {"frobnicate"}, "unknown command 'frobnicate'", "Try 'dam --help'."},
      {DAM_PROGRAM, {"--bogus", "run"}, "unknown option '--bogus'", "Try 'dam --help'."},
      {DAM_PROGRAM, {"config", "hide", config}, "unknown command 'config'", "Try 'dam --help'."},
      {DAM_PROGRAM,
       {"run", config, "--bogus"},
       "unknown option '--bogus'",
       "Try 'dam run --help'."},
      {DAM_PROGRAM,
       {"run", config, "--bogus=1"},
       "unknown option '--bogus=1'",
       "Try 'dam run --help'."},
      {DAM_PROGRAM,
       {"run", config, "--for"},
       "missing value after '--for'",
       "Try 'dam run --help'."},
      {DAM_PROGRAM,
       {"run", config, "--for", "5x"},
       "--for '5x' is not a DURATION",
       "Try 'dam run --help'."},
      {DAM_PROGRAM,
       {"run", config, "--for=-1"},
       "--for '-1' is not a DURATION",
       "Try 'dam run --help'."},
      {DAM_PROGRAM,
       {"run", config, "--subgroups", "-3"},
       "--subgroups '-3' is not a whole number",
       "Try 'dam run --help'."},
      {DAM_PROGRAM,
       {"run", config, "--subgroups=2.5"},
       "--subgroups '2.5'",
       "Try 'dam run --help'."},
      {DAM_PROGRAM,
       {"run", config, "--activity=yes"},
       "unexpected value after '--activity'",
       "Try 'dam run --help'."},
      {DAM_PROGRAM, {"run"}, "missing CONFIG", "Try 'dam run --help'."},
      {DAM_PROGRAM,
       {"run", config, config},
       "unexpected argument '" + config.toStdString() + "'",
       "Try 'dam run --help'."},
      {DAM_PROGRAM, {"check"}, "missing CONFIG...", "Try 'dam check --help'."},
      {DAM_PROGRAM, {"config", "show"}, "missing CONFIG", "Try 'dam config show --help'."},
      {DAM_PROGRAM, {"subgroups", "--last", "x"}, "--last 'x'", "Try 'dam subgroups --help'."},
      {DAM_PROGRAM, {"register"}, "missing MODULE", "Try 'dam register --help'."},
      {DAM_PROGRAM, {"spool", "drop"}, "drop needs --before TIME", "Try 'dam spool --help'."},
      {DAM_PROGRAM,
       {"spool", "drop", "--before", "soon"},
       "--before 'soon' is not a time",
       "Try 'dam spool --help'."},
      {DAM_PROGRAM,
       {"spool", "--yes"},
       "--yes does not go with listing",
       "Try 'dam spool --help'."},
      {DAM_PROGRAM, {"spool", "burn"}, "unknown action 'burn'", "Try 'dam spool --help'."},
      {DAM_PROGRAM, {"help", "frobnicate"}, "unknown command 'frobnicate'", "Try 'dam --help'."},
      {HISTSIM_PROGRAM, {}, "missing HISTORIAN", "Try 'histsim --help'."},
      {HISTSIM_PROGRAM,
       {"h.db", "--period", "0"},
       "--period '0' is not a positive DURATION",
       "Try 'histsim --help'."},
      {HISTSIM_PROGRAM,
       {"h.db", "--measurements", "100001"},
       "--measurements '100001'",
       "Try 'histsim --help'."},
      {HISTSIM_PROGRAM,
       {"h.db", "--seed"},
       "missing value after '--seed'",
       "Try 'histsim --help'."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args.join(' ').toStdString());
    const Outcome outcome = Exec(c.program, c.args);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find(c.named), std::string::npos) << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with(c.hint + "\n")) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  }
}

TEST_F(CommandLine, HelpAndVersionGoToStdoutAndExitZero) {
  const struct {
    const char* program;
    QStringList args;
    std::vector<std::string> shown;
  } cases[] = {
      {DAM_PROGRAM,
       {"--help"},
       {"Usage: dam [--help]", "check CONFIG...", "DAM_REGISTRY_FILE", "Exit status:"}},
      {DAM_PROGRAM, {"help"}, {"Usage: dam [--help]"}},
      {DAM_PROGRAM,
       {"run", "--help"},
       {"Usage: dam run CONFIG", "--force", "DURATION is", "DAM_SPC_CONNECTION",
        "Example:\n  dam run"}},
      {DAM_PROGRAM, {"run", "--for=5x", "--help"}, {"Usage: dam run CONFIG"}},
      {DAM_PROGRAM, {"help", "run"}, {"Usage: dam run CONFIG"}},
      {DAM_PROGRAM, {"config", "show", "--help"}, {"Usage: dam config show", "--show-secrets"}},
      {DAM_PROGRAM, {"help", "config", "show"}, {"Usage: dam config show"}},
      {DAM_PROGRAM, {"help", "check"}, {"Usage: dam check CONFIG...", "3 with errors"}},
      {DAM_PROGRAM, {"subgroups", "--help"}, {"--last N"}},
      {DAM_PROGRAM, {"spool", "--help"}, {"--before TIME"}},
      {DAM_PROGRAM, {"register", "--help"}, {"MODULE"}},
      {DAM_PROGRAM, {"unregister", "--help"}, {"MODULE"}},
      {DAM_PROGRAM, {"drivers", "--help"}, {"Usage: dam drivers"}},
      {DAM_PROGRAM, {"gui", "--help"}, {"[CONFIG...]"}},
      {DAM_PROGRAM, {"setup", "--help"}, {"CONFIG.bak"}},
      {DAM_PROGRAM, {"select-tag", "--help"}, {"--value TEXT"}},
      {DAM_PROGRAM, {"--version"}, {"dam 6.", "oxaGEPDAD6.Version1 6.", "(registered: "}},
      {HISTSIM_PROGRAM,
       {"--help"},
       {"Usage: histsim HISTORIAN", "--measurements N", "DURATION is"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args.join(' ').toStdString());
    const Outcome outcome = Exec(c.program, c.args);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    for (const std::string& text : c.shown) {
      EXPECT_NE(outcome.out.find(text), std::string::npos) << text << " in\n" << outcome.out;
    }
  }
}

TEST_F(CommandLine, CheckExitsZeroOneOrThreeWithFileAndLine) {
  const std::string historian = Historian();
  const std::string link = "DATALINK=Driver=SQLite3;Database=" + historian + ";NoCreat=1\n";
  const std::string away =
      "DATALINK=Driver=SQLite3;Database=" + work_.File("none.db") + ";NoCreat=1\n";
  const QString clean =
      File("clean.cfg", "NAME=A\nACTIVE=1\n" + link + "TEST=F\tW\t%TAG(LINE1.WEIGHT)\n");
  const QString warned = File("warned.cfg", "NAME=A\nACTIVE=1\n" + away);
  const QString wrong = File("wrong.cfg", "NAME=A\n" + link + "SUBGROUPUNIT=7\n");
  const struct {
    QStringList files;
    int exitCode;
    std::vector<std::string> lines;
  } cases[] = {
      {{clean}, 0, {}},
      {{warned}, 1, {warned.toStdString() + ":3: warning: the historian cannot be reached now"}},
      {{wrong}, 3, {wrong.toStdString() + ":3: error: SUBGROUPUNIT 7 is no unit"}},
      {{clean, warned, wrong}, 3, {":3: warning:", ":3: error:"}},
      {{work_.File("missing.cfg").c_str()},
       3,
       {"missing.cfg: error: there is no configuration file"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.files.join(' ').toStdString());
    const Outcome outcome = Exec(DAM_PROGRAM, QStringList{"check"} + c.files);
    EXPECT_EQ(outcome.exitCode, c.exitCode) << outcome.out << outcome.err;
    for (const std::string& line : c.lines) {
      EXPECT_NE(outcome.out.find(line), std::string::npos) << line << " in\n" << outcome.out;
    }
    if (c.lines.empty()) {
      EXPECT_EQ(outcome.out, "");
    }
  }
}

TEST_F(CommandLine, RunRefusesAConfigurationWithErrorsUnlessForced) {
  const std::string historian = Historian();
  const QString config =
      File("retry.cfg", "NAME=Line\nACTIVE=1\nDATALINK=Driver=SQLite3;Database=" + historian +
                            ";NoCreat=1\nSUBGROUPINTERVAL=1\nSUBGROUPUNIT=0\nRETRYUNIT=8\n"
                            "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)\n");
  Outcome outcome = Exec(DAM_PROGRAM, {"run", config, "--for", "1"});
  EXPECT_EQ(outcome.exitCode, 3) << outcome.err;
  EXPECT_NE(outcome.err.find("retry.cfg:6: error: RETRYUNIT 8 is no unit"), std::string::npos)
      << outcome.err;
  EXPECT_NE(outcome.err.find("--force"), std::string::npos) << outcome.err;
  EXPECT_EQ(outcome.out, "");

  outcome = Exec(DAM_PROGRAM, {"run", config, "--for", "2", "--force"});
  EXPECT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
  EXPECT_NE(outcome.out.find("stopped after"), std::string::npos) << outcome.out;
}

TEST_F(CommandLine, FailuresArePlainSentencesWithTheirNumbersOnlyWhenVerbose) {
  const QString config = File("line.cfg", "NAME=Line\nACTIVE=1\n");
  const QString nowhere = "Driver=Nope;Database=x";
  const struct {
    QStringList args;
    int exitCode;
    std::string said;
  } cases[] = {
      {{"config", "show", QString::fromStdString(work_.File("missing.cfg"))},
       1,
       "dam config show: there is no configuration file " + work_.File("missing.cfg") + "\n"},
      {{"subgroups", "--spc", nowhere}, 4, "dam subgroups: cannot open the SPC database: "},
      {{"run", config, "--for", "1", "--spc", nowhere},
       4,
       "dam run: cannot open the SPC database: "},
      {{"spool", "forward", "--spc", nowhere},
       4,
       "dam spool: cannot forward to the SPC database: "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args.join(' ').toStdString());
    Outcome outcome = Exec(DAM_PROGRAM, c.args);
    EXPECT_EQ(outcome.exitCode, c.exitCode) << outcome.err;
    EXPECT_NE(outcome.err.find(c.said), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("SQLSTATE"), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find(" - "), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.out.find("NAME="), std::string::npos) << outcome.out;

    outcome = Exec(DAM_PROGRAM, QStringList{"--verbose"} + c.args);
    EXPECT_EQ(outcome.exitCode, c.exitCode) << outcome.err;
    EXPECT_NE(outcome.err.find(" - "), std::string::npos) << "a number: " << outcome.err;
  }
}

}  // namespace
