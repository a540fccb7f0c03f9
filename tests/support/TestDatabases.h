// Fresh SPC databases for the tests, one per test: an SQLite file in a temporary folder
// (always), or a database of its own on the PostgreSQL server that scripts/with-postgres
// started (DAM_TEST_PG_CONNECTION).
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

namespace spcdbtest {

enum class Backend { SQLite, PostgreSQL };

// Names the backend in test names and messages.
inline void PrintTo(Backend backend, std::ostream* out) {
  *out << (backend == Backend::SQLite ? "SQLite" : "PostgreSQL");
}

class TestDatabase {
 public:
  virtual ~TestDatabase() = default;
  virtual std::string ConnectionString() const = 0;
  // Makes the database unreachable for connected sessions and new ones, and back.
  // False when this database or machine cannot do it.
  virtual bool TakeAway() = 0;
  virtual void GiveBack() = 0;
  // Stops the server's processes where they are (SIGSTOP), as a host suspended: connections
  // stay open and nothing answers, cancels included; and lets them go on. False when this
  // database cannot.
  virtual bool Freeze(bool frozen) {
    static_cast<void>(frozen);
    return false;
  }
};

// Null when the backend is not available here.
std::unique_ptr<TestDatabase> MakeTestDatabase(Backend backend);
// A database that TakeAway really takes away: for PostgreSQL a server of its own, stopped
// and started again. Null when the backend is not available here.
std::unique_ptr<TestDatabase> MakeStoppableDatabase(Backend backend);

// The subgroup StartSubgroupIdsPast32Bits leaves: 2^31 + 2.
inline constexpr int64_t kPlaceholderSubgroupId = 2147483650;

// Makes the SPC database whose tables `connection` reaches hand out subgroup identifiers past
// 32 bits, as a database does after 2^31 saves: it holds one subgroup, without readings, with
// kPlaceholderSubgroupId, and the next save gets the identifier after it. SQLite numbers a row
// after the highest it holds; PostgreSQL's identity is set there as well.
void StartSubgroupIdsPast32Bits(const std::string& connection);

}  // namespace spcdbtest
