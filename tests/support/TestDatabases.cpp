#include "tests/support/TestDatabases.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <string>
#include <vector>

#include "platform/odbc/OdbcConnection.h"
#include "runtime/Date.h"
#include "runtime/Error.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"

namespace spcdbtest {
namespace {

std::string Quoted(const std::string& text) {
  return "'" + std::regex_replace(text, std::regex("'"), "'\\''") + "'";
}

void Run(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    throw runtime::Error(runtime::kInvalidProcedureCall, "Test set-up failed: " + command);
  }
}

// Root is not stopped by file modes: an immutable file refuses writes even through the
// descriptors a connection holds open.
class SqliteDatabase : public TestDatabase {
 public:
  // Immutable files would outlive the temporary folder.
  ~SqliteDatabase() override { GiveBack(); }

  std::string ConnectionString() const override { return testsupport::SqliteLink(file_); }

  bool TakeAway() override {
    if (Chattr("+i")) return true;
    GiveBack();
    return false;
  }

  void GiveBack() override { Chattr("-i"); }

 private:
  bool Chattr(const std::string& change) const {
    bool done = true;
    // Not the shared-memory index: writes to its mapping would end the process (SIGBUS).
    for (const char* suffix : {"", "-wal"}) {
      const std::string file = file_ + suffix;
      if (!std::filesystem::exists(file)) continue;
      done &= std::system(("chattr " + change + " " + Quoted(file) + " 2>/dev/null").c_str()) == 0;
    }
    return done;
  }

  testsupport::TempFolder folder_;
  std::string file_ = folder_.File("spc.db");
};

// A database of its own on the shared server, dropped afterwards.
class PostgresDatabase : public TestDatabase {
 public:
  explicit PostgresDatabase(const std::string& server) {
    static std::atomic<int> counter{0};
    name_ = "dam_" + std::to_string(getpid()) + "_" + std::to_string(++counter);
    connection_ = std::regex_replace(server, std::regex("(^|;)Database=[^;]*", std::regex::icase),
                                     "$1Database=" + name_);
    maintenance_.Open(server, "", "");
    maintenance_.Execute("CREATE DATABASE " + name_);
  }

  ~PostgresDatabase() override {
    try {
      maintenance_.Execute("DROP DATABASE IF EXISTS " + name_ + " WITH (FORCE)");
    } catch (...) {
    }
  }

  std::string ConnectionString() const override { return connection_; }

  // The shared server cannot be stopped under the other tests: see PostgresServer.
  bool TakeAway() override { return false; }
  void GiveBack() override {}

 private:
  std::string name_;
  std::string connection_;
  platform::OdbcConnection maintenance_;
};

// A server of its own, made with the shared cluster's pg_ctl (which runs as the cluster's
// owner) in a folder that owner may write, so that a test can stop it.
class PostgresServer : public TestDatabase {
 public:
  PostgresServer(std::string pgCtl, const std::string& sharedData) : pgCtl_(std::move(pgCtl)) {
    struct stat info {};
    const passwd* owner = stat(sharedData.c_str(), &info) == 0 ? getpwuid(info.st_uid) : nullptr;
    if (!owner || chown(folder_.Path().c_str(), info.st_uid, info.st_gid) != 0) {
      throw runtime::Error(runtime::kPathFileAccessError,
                           "Cannot make a cluster beside " + sharedData);
    }
    owner_ = owner->pw_name;
    Run(PgCtl("initdb") + " -s -o " +
        Quoted("-U " + owner_ + " --auth=trust -E UTF8 --locale=C --no-sync") + " >/dev/null");
    std::ofstream(data_ + "/postgresql.conf", std::ios::app)
        << "listen_addresses = ''\nunix_socket_directories = '" << folder_.Path() << "'\n";
    GiveBack();
  }

  ~PostgresServer() override {
    // A destructor cannot throw: a server that would not stop is said, as it outlives the test.
    const bool running = std::system((PgCtl("status") + " >/dev/null 2>&1").c_str()) == 0;
    if (running && std::system((PgCtl("stop") + " -m immediate >/dev/null 2>&1").c_str()) != 0) {
      std::cerr << "cannot stop the PostgreSQL server of " << data_ << '\n';
    }
  }

  std::string ConnectionString() const override {
    return "Driver={PostgreSQL Unicode};Servername=" + folder_.Path() +
           ";Database=postgres;Username=" + owner_;
  }

  bool TakeAway() override {
    Run(PgCtl("stop") + " -m fast >/dev/null");
    return true;
  }

  void GiveBack() override {
    Run(PgCtl("start") + " -l " + Quoted(folder_.File("server.log")) + " >/dev/null");
  }

  bool Freeze(bool frozen) override {
    const std::string signal = frozen ? "STOP" : "CONT";
    const std::string postmaster = "$(head -1 " + Quoted(data_ + "/postmaster.pid") + ")";
    Run("kill -" + signal + " " + postmaster + " $(pgrep -P " + postmaster + ")");
    return true;
  }

 private:
  std::string PgCtl(const std::string& action) const {
    return Quoted(pgCtl_) + " " + action + " -w -D " + Quoted(data_);
  }

  std::string pgCtl_;
  std::string owner_;
  testsupport::TempFolder folder_;
  std::string data_ = folder_.File("data");
};

}  // namespace

std::unique_ptr<TestDatabase> MakeTestDatabase(Backend backend) {
  if (backend == Backend::SQLite) return std::make_unique<SqliteDatabase>();
  const char* server = std::getenv("DAM_TEST_PG_CONNECTION");
  if (!server) return nullptr;
  return std::make_unique<PostgresDatabase>(server);
}

void StartSubgroupIdsPast32Bits(const std::string& connection) {
  platform::OdbcConnection sql;
  sql.Open(connection, "", "");
  sql.Execute(
      "INSERT INTO subgroups (id, subgroup_time, size, session_number)"
      " VALUES (CAST(? AS BIGINT), ?, 0, 0)",
      std::vector<runtime::Variant>{static_cast<double>(kPlaceholderSubgroupId),
                                    runtime::MakeDate({2024, 1, 1, 0, 0, 0})});
  if (!sql.DbmsName().starts_with("SQLite")) {
    sql.Execute("ALTER TABLE subgroups ALTER COLUMN id RESTART WITH " +
                std::to_string(kPlaceholderSubgroupId + 1));
  }
}

std::unique_ptr<TestDatabase> MakeStoppableDatabase(Backend backend) {
  if (backend == Backend::SQLite) return std::make_unique<SqliteDatabase>();
  const char* pgCtl = std::getenv("DAM_TEST_PG_CTL");
  const char* data = std::getenv("DAM_TEST_PG_DATA");
  if (!pgCtl || !data) return nullptr;
  return std::make_unique<PostgresServer>(pgCtl, data);
}

}  // namespace spcdbtest
