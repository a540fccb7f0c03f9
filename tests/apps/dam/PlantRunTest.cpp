// A plant's lines in one dam run: each configuration its own driver on a thread of its own,
// all saving into one SPC database, a historian that hangs holding up its own line only, and
// SIGHUP taking the folder's changes without a gap in the lines that did not change.
#include <signal.h>
#include <sys/stat.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <tuple>

#include "platform/odbc/OdbcConnection.h"
#include "tests/apps/dam/DamProcesses.h"
#include "tests/support/Historian.h"

namespace {

class PlantRun : public damtest::DamProcesses {
 protected:
  // Reads what `run` wrote so far.
  void Follow(QProcess& run) {
    run.waitForReadyRead(100);
    output_ += run.readAllStandardOutput().toStdString();
    errors_ += run.readAllStandardError().toStdString();
  }

  // The newest count `name`'s status line shows from `from` of the output on; -1 before the
  // first.
  int SavedBy(const std::string& name, size_t from = 0) const {
    const std::regex line(name + ": [a-z]+ \\| saved (\\d+)");
    int saved = -1;
    for (std::sregex_iterator at(output_.begin() + from, output_.end(), line), end; at != end;
         ++at) {
      saved = std::stoi((*at)[1]);
    }
    return saved;
  }

  // Waits until `name` saved `count` subgroups, as the output from `from` on shows.
  bool Saves(QProcess& run, const std::string& name, int count, size_t from = 0) {
    return WaitFor(
        [&] {
          Follow(run);
          return SavedBy(name, from) >= count;
        },
        60);
  }

  // The subgroups each configuration saved, by name; none is saved twice.
  static std::map<std::string, std::vector<runtime::Date>> SavedByName(const std::string& spc) {
    std::map<std::string, std::vector<runtime::Date>> times;
    for (const platform::SpcSubgroupData& subgroup : Saved(spc)) {
      times[subgroup.configuration.value_or("")].push_back(subgroup.time);
    }
    for (const auto& [name, saved] : times) {
      std::set<double> distinct;
      for (const runtime::Date time : saved) distinct.insert(time.serial);
      EXPECT_EQ(distinct.size(), saved.size()) << name << " saved a collection twice";
    }
    return times;
  }

  std::string output_, errors_;
};

// Three lines from a file and a folder: a configuration with errors in the folder, a link to
// itself and a second file of line B's name are named and left out, the others run, a file
// named again (a link to it, its own path) runs once. Then line C's historian is locked by another
// program, with no query timeout, so its collection waits for good: lines A and B go on saving on
// time, a reload is not held up by it, and SIGTERM still stops every driver; a file that waits
// for line C's name meanwhile says so at once, and at the stop that it does not run.
TEST_F(PlantRun, EachLineSavesUnderItsNameAndAHangingHistorianHoldsUpOnlyItsOwn) {
  StartHistorian();
  const std::string locked = work_.File("locked.db");
  damtest::CreateLockableHistorian(locked);
  WriteFile("settings/dam.ini", "[Connections]\r\nQueryTimeout=0\r\n");
  const QString a = Line("a.cfg", "Line A", historian_);
  work_.Subfolder("plant.d");
  Line("plant.d/b.cfg", "Line B", historian_);
  Line("plant.d/c.cfg", "Line C", locked);
  WriteFile("plant.d/bad.cfg", "NAME=Bad\nACTIVE=1\nSUBGROUPUNIT=9\n");
  WriteFile("plant.d/notes.txt", "not a configuration");
  std::filesystem::create_symlink("self.cfg", work_.File("plant.d/self.cfg"));
  std::filesystem::create_symlink("b.cfg", work_.File("plant.d/link.cfg"));
  Line("b-copy.cfg", "Line B", historian_);
  const QStringList paths = {a, QString::fromStdString(work_.File("plant.d")),
                             QString::fromStdString(work_.File("plant.d/b.cfg")),
                             QString::fromStdString(work_.File("b-copy.cfg"))};

  auto run = Start(DAM_PROGRAM, QStringList{"run"} + paths, QProcess::SeparateChannels);
  ASSERT_TRUE(Saves(*run, "Line C", 1)) << output_ << errors_;
  for (const std::string& said :
       {"plant.d/bad.cfg: the configuration " + work_.File("plant.d/bad.cfg") + " has errors",
        "plant.d/self.cfg: cannot read the configuration file " + work_.File("plant.d/self.cfg") +
            ": Too many levels of symbolic links; it does not run",
        "plant.d/link.cfg: the same file as " + work_.File("plant.d/b.cfg") + "; it runs once",
        "b-copy.cfg: its name Line B is the name of " + work_.File("plant.d/b.cfg") +
            " already: their subgroups and log lines could not be told apart; it does not run"}) {
    EXPECT_HAS(errors_, said);
  }
  EXPECT_EQ(Count(errors_, "the same file as"), 2u) << errors_;
  const auto holder = damtest::Lock(testsupport::SqliteLink(locked));
  Follow(*run);
  const int lockedAt = SavedBy("Line C");
  const int aBefore = SavedBy("Line A"), bBefore = SavedBy("Line B");
  EXPECT_TRUE(Saves(*run, "Line A", aBefore + 4)) << output_;
  EXPECT_TRUE(Saves(*run, "Line B", bBefore + 4)) << output_;
  EXPECT_LE(SavedBy("Line C"), lockedAt + 1) << "at most the collection under way got through";
  // A reload meanwhile takes line C's file away and brings D's: D starts at once, while C
  // still waits on its historian, and so does a file that takes C's name.
  std::filesystem::remove(work_.File("plant.d/c.cfg"));
  Line("plant.d/d.cfg", "Line D", historian_);
  Line("plant.d/c2.cfg", "Line C", historian_);
  Signal(*run, SIGHUP);
  EXPECT_TRUE(Saves(*run, "Line D", 2)) << output_ << errors_;
  EXPECT_LACKS(output_, "Line C: removed");
  EXPECT_HAS(output_, "plant.d/c2.cfg: waits for its name Line C to be freed\n");
  Terminate(*run);
  Follow(*run);
  EXPECT_EQ(run->exitCode(), 0) << output_ << errors_;
  EXPECT_HAS(output_, "Line C: removed: stopped after");
  EXPECT_HAS(errors_,
             "plant.d/c2.cfg: the run stopped while it waited for its name Line C "
             "to be freed; it does not run");
  holder->Execute("ROLLBACK");

  const auto saved = SavedByName(Spc());
  EXPECT_EQ(saved.size(), 4u);
  for (const char* name : {"Line A", "Line B", "Line C", "Line D"}) {
    EXPECT_GE(saved.count(name) ? saved.at(name).size() : 0, 1u) << name;
  }
  // dam check takes the same paths; a run none of whose configurations can run fails as the
  // first one does.
  auto [exitCode, said] = Dam(QStringList{"check"} + paths);
  EXPECT_EQ(exitCode, 6) << said;
  for (const char* found :
       {"plant.d/bad.cfg:3: error: SUBGROUPUNIT 9", "plant.d/link.cfg: warning: the same file as",
        "plant.d/self.cfg: error: cannot read", "b-copy.cfg: error: its name"}) {
    EXPECT_HAS(said, found);
  }
  const QString off = WriteFile("off.cfg", "NAME=Off\nACTIVE=0\n");
  std::tie(exitCode, said) =
      Dam({"run", QString::fromStdString(work_.File("plant.d/bad.cfg")), off});
  EXPECT_EQ(exitCode, 3) << said;
  EXPECT_HAS(said, "off.cfg: the configuration " + off.toStdString() +
                       " is inactive (ACTIVE=0): there is nothing to collect; it does not run");

  // A collection that starts a grid point late logs so, with its line's name.
  const std::string log = Log();
  for (const std::string& line : Lines(log)) {
    if (line.find("Collection Started Late") != std::string::npos) {
      EXPECT_EQ(line.rfind("Line C", 0), 0u) << "only the hanging line is late: " << line;
    }
  }
}

// SIGHUP on a running folder: a new file starts, a removed one stops, a changed one collects
// its new items, one that cannot be read now runs on as it was, a copy of one under its name
// does not run, and the unchanged one saves every second across the reload. Names change
// hands: two files swap theirs, and a new file takes the one another file gave up; each
// starts under its new name once the old holder stopped, so does a file moved while its line
// still starts. The total at the end counts the removed and renamed ones too. A run of one
// whose change is refused shows the schedule it runs on; one that a reload leaves with nothing
// to run says why, and runs on.
TEST_F(PlantRun, ReloadStartsStopsAndChangesLinesWhileTheOthersMissNoCollection) {
  StartHistorian();
  const std::string plant = work_.Subfolder("plant.d");
  Line("plant.d/keep.cfg", "Keep", historian_);
  Line("plant.d/change.cfg", "Change", historian_);
  Line("plant.d/remove.cfg", "Remove", historian_);
  Line("plant.d/unread.cfg", "Unread", historian_);
  Line("plant.d/left.cfg", "Left", historian_);
  Line("plant.d/right.cfg", "Right", historian_);
  Line("plant.d/hand.cfg", "Hand", historian_);
  const std::string slow = work_.File("slow.db");
  damtest::CreateLockableHistorian(slow);
  const std::string weight2 = "TEST=Fill\tWeight 2\t%TAG(LINE1.WEIGHT)\t\n";
  Line("plant.d/slow.cfg", "Slow", slow);
  Line("plant.d/shift.cfg", "Shift", slow);
  auto run = Start(DAM_PROGRAM, {"run", QString::fromStdString(plant)}, QProcess::SeparateChannels);
  for (const char* name :
       {"Keep", "Change", "Remove", "Unread", "Left", "Right", "Hand", "Slow", "Shift"}) {
    ASSERT_TRUE(Saves(*run, name, 2)) << name << output_ << errors_;
  }

  Line("plant.d/add.cfg", "Add", historian_);
  std::filesystem::remove(plant + "/remove.cfg");
  Line("plant.d/change.cfg", "Change", historian_,
       damtest::kWeight + "TEST=Fill\tWidth\t%TAG(LINE1.WIDTH)\t\n");
  std::filesystem::remove(plant + "/unread.cfg");
  ASSERT_EQ(mkfifo((plant + "/unread.cfg").c_str(), 0600), 0);
  std::filesystem::copy_file(plant + "/keep.cfg", plant + "/keep-copy.cfg");
  Line("plant.d/left.cfg", "Right", historian_);
  Line("plant.d/right.cfg", "Left", historian_);
  Line("plant.d/hand.cfg", "Handed", historian_);
  Line("plant.d/take.cfg", "Hand", historian_);
  // Slow's change waits on its historian, and it changes again meanwhile: both are taken; so
  // is Shift's name given back while its rename waits. Late still starts when its file moves.
  const auto holder = damtest::Lock(testsupport::SqliteLink(slow));
  Line("plant.d/slow.cfg", "Slow", slow, damtest::kWeight + weight2);
  Line("plant.d/shift.cfg", "Shifted", slow);
  Line("plant.d/late.cfg", "Late", slow);
  Follow(*run);
  const int keep = SavedBy("Keep"), unread = SavedBy("Unread");
  Signal(*run, SIGHUP);
  ASSERT_TRUE(WaitFor([&] { return Follow(*run), Count(output_, "Add: historian") == 1; }, 10));
  Line("plant.d/slow.cfg", "Slow", slow,
       damtest::kWeight + weight2 + "TEST=Fill\tWeight 3\t%TAG(LINE1.WEIGHT)\t\n");
  Line("plant.d/shift.cfg", "Shift", slow, damtest::kWeight + weight2);
  std::filesystem::rename(plant + "/late.cfg", plant + "/late2.cfg");
  Signal(*run, SIGHUP);
  ASSERT_TRUE(WaitFor([&] { return Follow(*run), Count(output_, "reloading ") == 2; }, 10));
  holder->Execute("ROLLBACK");
  // Nine at the start; the changed, the added, the taker, the three renamed, Slow twice, Shift
  // anew, Late from its new file.
  ASSERT_TRUE(WaitFor(
      [&] {
        Follow(*run);
        return Count(output_, "historian: ") >= 19;
      },
      60))
      << output_ << errors_;
  const size_t reloaded = output_.size();
  for (const char* name : {"Add", "Left", "Right", "Hand", "Handed", "Shift", "Late"}) {
    ASSERT_TRUE(Saves(*run, name, 2, reloaded)) << name << output_ << errors_;
  }
  EXPECT_TRUE(Saves(*run, "Keep", keep + 3)) << output_;
  EXPECT_TRUE(Saves(*run, "Unread", unread + 3)) << output_;
  for (const char* removed : {"Remove: removed: stopped after", "Late: removed: stopped after 0"}) {
    EXPECT_HAS(output_, removed);
  }
  EXPECT_HAS(errors_, "unread.cfg is a FIFO, not a configuration file; it runs on as it was");
  EXPECT_HAS(errors_, "keep-copy.cfg: its name Keep is the name of " + plant + "/keep.cfg");
  EXPECT_EQ(Count(errors_, "does not run"), 2u) << "keep-copy, at each reload" << errors_;
  Terminate(*run);
  Follow(*run);
  EXPECT_EQ(run->exitCode(), 0) << output_ << errors_;
  EXPECT_HAS(output_, "\nstopped after " + std::to_string(Saved(Spc()).size()) + " subgroup");
  EXPECT_EQ(Count(output_, "historian: "), 19u) << output_;

  const auto saved = SavedByName(Spc());
  EXPECT_FALSE(saved.contains("Shifted")) << "the name given back before the rename was taken";
  // Keep saved one subgroup a second, the reload's second included.
  const std::vector<runtime::Date>& kept = saved.at("Keep");
  ASSERT_GE(kept.size(), 5u);
  const double seconds = (kept.back().serial - kept.front().serial) * 86400;
  EXPECT_EQ(static_cast<size_t>(std::lround(seconds)) + 1, kept.size()) << "no collection missed";
  EXPECT_GE(saved.at("Add").size(), 2u);
  const std::vector<platform::SpcSubgroupData> all = Saved(Spc());
  const auto savedWith = [&](const std::string& name, size_t readings) {
    return std::any_of(all.begin(), all.end(), [&](const platform::SpcSubgroupData& subgroup) {
      return subgroup.configuration == name && subgroup.readings.size() == readings;
    });
  };
  EXPECT_TRUE(savedWith("Change", 2)) << "the changed line collects its new test";
  EXPECT_TRUE(savedWith("Slow", 3)) << "the second change";
  EXPECT_TRUE(savedWith("Shift", 2)) << "the change made while the rename waited";

  const QString one = Line("one.cfg", "One", historian_);
  auto alone = Start(DAM_PROGRAM, {"run", one});
  std::string said;
  ASSERT_TRUE(Says(*alone, said, "| saved 1 ")) << said;
  // Not "next none": the refused text's schedule is no schedule.
  Line("one.cfg", "One", historian_, damtest::kWeight, 9);
  Signal(*alone, SIGHUP);
  ASSERT_TRUE(Says(*alone, said, "; it runs on as it was", 10)) << said;
  const size_t refused = said.size();
  EXPECT_TRUE(WaitFor(
      [&] {
        alone->waitForReadyRead(100);
        said += alone->readAll().toStdString();
        return Count(said.substr(refused), "| next 20") >= 2;
      },
      10))
      << said;
  WriteFile("one.cfg", "NAME=Two\nACTIVE=0\n");
  Signal(*alone, SIGHUP);
  EXPECT_TRUE(Says(*alone, said, "no configuration runs", 10)) << said;
  Terminate(*alone);
  said += alone->readAll().toStdString();
  EXPECT_EQ(alone->exitCode(), 0) << said;
  EXPECT_HAS(said, "one.cfg: the configuration " + one.toStdString() +
                       " is inactive (ACTIVE=0): there is nothing to collect; it does not run");
}

}  // namespace
