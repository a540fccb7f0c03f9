// Following the saved subgroups: each one given once, in identifier order, none skipped,
// also when a writer commits a lower identifier after a higher one or the database is
// replaced; and the real `dam subgroups --follow --ndjson` against writers saving while it
// follows.

#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>
#include <filesystem>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcNewSubgroupReader.h"
#include "platform/spcdb/SpcReader.h"
#include "tests/apps/dam/DamProcesses.h"
#include "tests/support/TestDatabases.h"

namespace {

using spcdbtest::Backend;
using namespace std::chrono_literals;

using damtest::SpcWriter;

platform::SpcSubgroupId Save(const std::shared_ptr<platform::SpcSession>& session, int n) {
  return damtest::SaveSubgroup(session, runtime::MakeDate({2026, 11, 23, 9, n / 60 % 60, n % 60}),
                               500.0 + n);
}

std::vector<platform::SpcSubgroupId> Ids(const std::vector<platform::SpcSubgroupData>& subgroups) {
  std::vector<platform::SpcSubgroupId> ids;
  for (const auto& subgroup : subgroups) ids.push_back(subgroup.id);
  return ids;
}

TEST(SpcNewSubgroupReader, WaitsForAMissingIdentifierThenGivesItUpButNeverRepeats) {
  testsupport::TempFolder folder;
  const std::string connection = "Driver=SQLite3;Database=" + folder.File("spc.db");
  auto session = SpcWriter(connection, "Line 1");
  platform::OdbcConnection sql;
  sql.Open(connection, "", "");
  // Stands in for commits in any order: each row with the identifier its writer got.
  const auto commit = [&](int32_t id) {
    sql.Execute(
        "INSERT INTO subgroups (id, subgroup_time, size, session_number) VALUES (?, ?, 1, 7)",
        std::vector<runtime::Variant>{id, runtime::MakeDate({2026, 11, 23, 9, 0, id})});
  };
  commit(1);
  platform::SpcNewSubgroupReader reader(*session, 0, 10s);
  const auto start = platform::SpcNewSubgroupReader::Clock::now();
  const struct {
    std::vector<int32_t> committed;
    std::chrono::seconds at;
    std::vector<platform::SpcSubgroupId> given;
  } steps[] = {
      {{2, 4}, 0s, {1, 2}},  // 3 is missing below 4: 4 waits
      {{}, 9s, {}},
      {{3}, 9s, {3, 4}},  // committed late, given in order
      {{7, 6}, 12s, {}},  // 5 is missing now
      {{}, 21s, {}},
      {{}, 22s, {6, 7}},  // 5 never came: given up after ten seconds
      {{5}, 23s, {}},     // too late: never given out of order or twice
      {{8}, 23s, {8}},
      {{14, 12, 10}, 24s, {}},  // 9, 11 and 13 missing at once
      {{16}, 30s, {}},          // 15 missing since now
      {{}, 34s, {10, 12, 14}},  // one wait for the gaps seen together
      {{}, 39s, {}},
      {{}, 40s, {16}},
  };
  for (const auto& step : steps) {
    for (const int32_t id : step.committed) commit(id);
    EXPECT_EQ(Ids(reader.Poll(start + step.at)), step.given) << "at " << step.at.count() << " s";
  }
  EXPECT_EQ(reader.Last(), 16);

  // Another database in its place (a file replaced at its path): its identifiers start again.
  sql.Execute("DELETE FROM subgroups");
  EXPECT_EQ(Ids(reader.Poll(start + 41s)), std::vector<platform::SpcSubgroupId>{});
  EXPECT_EQ(reader.Last(), 0);
  commit(1);
  commit(2);
  EXPECT_EQ(Ids(reader.Poll(start + 41s)), (std::vector<platform::SpcSubgroupId>{1, 2}));
}

class Follow : public damtest::DamProcesses, public ::testing::WithParamInterface<Backend> {
 protected:
  // The lines the follower has written so far.
  static std::vector<std::string> Lines(QProcess& follower, std::string& output) {
    follower.waitForReadyRead(100);
    output += follower.readAllStandardOutput().toStdString();
    return DamProcesses::Lines(output);
  }

  // Waits for `count` lines, stops the follower and gives the identifiers it printed; what
  // each line holds besides its identifier: EndToEnd's --ndjson, written alike.
  static std::vector<platform::SpcSubgroupId> Printed(QProcess& follower, std::string& output,
                                                      size_t count) {
    WaitFor([&] { return Lines(follower, output).size() >= count; }, 20);
    QThread::msleep(600);  // a repeat would show by now
    Terminate(follower);
    EXPECT_EQ(follower.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(follower.exitCode(), 0) << follower.readAllStandardError().toStdString();
    std::vector<platform::SpcSubgroupId> printed;
    for (const std::string& line : Lines(follower, output)) {
      printed.push_back(
          QJsonDocument::fromJson(QByteArray::fromStdString(line)).object()["id"].toInteger());
    }
    return printed;
  }
};

INSTANTIATE_TEST_SUITE_P(Databases, Follow, ::testing::Values(Backend::SQLite, Backend::PostgreSQL),
                         [](const auto& info) { return ::testing::PrintToString(info.param); });

TEST_P(Follow, EverySubgroupSavedWhileFollowingIsPrintedOnceInOrder) {
  auto database = spcdbtest::MakeTestDatabase(GetParam());
  if (!database) GTEST_SKIP() << "no PostgreSQL server (run the tests under scripts/with-postgres)";
  const std::string connection = database->ConnectionString();
  auto first = SpcWriter(connection, "Line 1");
  auto second = SpcWriter(connection, "Line 2");
  // As in a database that took 2^31 subgroups: every identifier printed whole.
  spcdbtest::StartSubgroupIdsPast32Bits(connection);
  std::vector<platform::SpcSubgroupId> expected;
  for (int n = 0; n < 3; ++n) expected.push_back(Save(first, n));
  EXPECT_EQ(expected.front(), spcdbtest::kPlaceholderSubgroupId + 1);
  expected.erase(expected.begin());  // --last 2

  auto follower = Start(DAM_PROGRAM,
                        {"subgroups", "--follow", "--ndjson", "--last", "2", "--spc",
                         QString::fromStdString(connection)},
                        QProcess::SeparateChannels);
  std::string output;
  ASSERT_TRUE(WaitFor([&] { return Lines(*follower, output).size() == 2; }, 20))
      << output << follower->readAllStandardError().toStdString();

  // Two writers, in bursts and with pauses shorter and longer than the follower's look.
  const int pauses[] = {0, 0, 20, 260, 0, 530, 90, 0, 700, 5};
  for (int n = 3; n < 33; ++n) {
    expected.push_back(Save(n % 2 ? second : first, n));
    QThread::msleep(pauses[n % std::size(pauses)]);
  }
  if (GetParam() == Backend::PostgreSQL) {
    // A save that got its identifier first commits after a later one.
    platform::OdbcConnection slow;
    slow.Open(connection, "", "");
    slow.BeginTransaction();
    slow.Execute(
        "INSERT INTO subgroups (subgroup_time, size, session_number, configuration_name)"
        " VALUES (?, 1, 7, ?)",
        std::vector<runtime::Variant>{runtime::MakeDate({2026, 11, 23, 10, 0, 0}), "Slow"});
    expected.push_back(platform::SubgroupIdOf(slow.Execute("SELECT lastval() AS id")->Field("id")));
    expected.push_back(Save(first, 40));
    QThread::msleep(1500);
    slow.Commit();
  }

  EXPECT_EQ(Printed(*follower, output, expected.size()), expected);
}

// As tail -F waits for a file, --wait waits for an SPC database that is not there yet (an
// SQLite file not made yet, a server not started yet) and says so once, and when it comes;
// a stop while it waits ends with 0. Then every subgroup saved is printed, and a file
// deleted while followed is waited for the same way.
TEST_P(Follow, WithWaitADatabaseNotThereYetIsWaitedFor) {
  std::unique_ptr<spcdbtest::TestDatabase> server;
  std::string connection, said;
  if (GetParam() == Backend::SQLite) {
    connection = "Driver=SQLite3;Database=" + work_.File("later.db");
    said = "there is no SPC database at " + work_.File("later.db") + " yet, waiting for it\n";
  } else {
    server = spcdbtest::MakeStoppableDatabase(GetParam());
    if (!server || !server->TakeAway()) GTEST_SKIP() << "no PostgreSQL server to stop here";
    connection = server->ConnectionString();
    said = "the SPC database does not answer, asking again: ";
  }
  const QStringList args{"subgroups", "--follow", "--wait",
                         "--ndjson",  "--spc",    QString::fromStdString(connection)};
  std::string err;
  const auto says = [&](QProcess& follower, const std::string& text) {
    EXPECT_TRUE(WaitFor(
        [&] {
          follower.waitForReadyRead(100);
          err += follower.readAllStandardError().toStdString();
          return err.find(text) != std::string::npos;
        },
        20))
        << err;
  };
  auto stopped = Start(DAM_PROGRAM, args, QProcess::SeparateChannels);
  says(*stopped, said);
  Terminate(*stopped);
  EXPECT_EQ(stopped->exitCode(), 0);
  EXPECT_FALSE(std::filesystem::exists(work_.File("later.db")));

  err.clear();
  auto follower = Start(DAM_PROGRAM, args, QProcess::SeparateChannels);
  says(*follower, said);
  std::shared_ptr<platform::SpcSession> writer;
  std::vector<platform::SpcSubgroupId> expected;
  if (server) {
    server->GiveBack();
    says(*follower, "the SPC database answers, following it\n");
    writer = SpcWriter(connection, "Line 1");
  } else {
    writer = SpcWriter(connection, "Line 1");
    expected.push_back(Save(writer, 0));  // before the follower sees the file, or after
    says(*follower, "the SPC database answers, following it\n");
  }
  expected.push_back(Save(writer, 1));
  std::string output;
  if (server) {
    EXPECT_EQ(Printed(*follower, output, expected.size()), expected);
    return;
  }
  // A file deleted while followed is waited for again, not made anew by the follower; the
  // one a writer then makes is followed from its first subgroup.
  WaitFor([&] { return Lines(*follower, output).size() == expected.size(); }, 20);
  writer.reset();
  std::filesystem::remove(work_.File("later.db"));
  says(*follower,
       "there is no SPC database at " + work_.File("later.db") + " any more, waiting for it\n");
  QThread::msleep(1200);
  EXPECT_FALSE(std::filesystem::exists(work_.File("later.db")));
  writer = SpcWriter(connection, "Line 2");
  expected.push_back(Save(writer, 2));
  says(*follower, "the SPC database answers again\n");
  EXPECT_EQ(Printed(*follower, output, expected.size()), expected);
}

}  // namespace
