// Fresh SPC databases for the tests, one per test: an SQLite file in a temporary folder
// (always), or a database of its own on the PostgreSQL server that scripts/with-postgres
// started (DAM_TEST_PG_CONNECTION).
#pragma once

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

}  // namespace spcdbtest
