#include "tests/spcdb/TestDatabases.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include "platform/odbc/OdbcConnection.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"

namespace spcdbtest {
namespace {

std::string Quoted(const std::string& text) {
  return "'" + std::regex_replace(text, std::regex("'"), "'\\''") + "'";
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

  // What a stopped server does to its clients: open connections end, new ones are refused.
  bool TakeAway() override {
    maintenance_.Execute("ALTER DATABASE " + name_ + " ALLOW_CONNECTIONS false");
    maintenance_.Execute(
        "SELECT pg_terminate_backend(pid, 10000) FROM pg_stat_activity WHERE datname = '" + name_ +
        "'");
    return true;
  }

  void GiveBack() override {
    maintenance_.Execute("ALTER DATABASE " + name_ + " ALLOW_CONNECTIONS true");
  }

 private:
  std::string name_;
  std::string connection_;
  platform::OdbcConnection maintenance_;
};

}  // namespace

std::unique_ptr<TestDatabase> MakeTestDatabase(Backend backend) {
  if (backend == Backend::SQLite) return std::make_unique<SqliteDatabase>();
  const char* server = std::getenv("DAM_TEST_PG_CONNECTION");
  if (!server) return nullptr;
  return std::make_unique<PostgresDatabase>(server);
}

}  // namespace spcdbtest
