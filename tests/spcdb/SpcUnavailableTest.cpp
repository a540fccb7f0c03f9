// Which database failures send a subgroup to the spool: the texts are those the SQLite and
// PostgreSQL ODBC drivers give through the ODBC layer.
#include <gtest/gtest.h>

#include "platform/spcdb/SpcErrors.h"
#include "platform/spcdb/SpcUnavailable.h"

namespace {

TEST(SpcUnavailable, ConnectionTimeoutAndLockFailuresAreTheDatabasesAbsenceOthersAreNot) {
  struct Case {
    const char* text;
    bool unavailable;
  };
  const Case cases[] = {
      {"[SQLSTATE 08001] could not connect to server: No such file or directory", true},
      {"[SQLSTATE 08S01] Communication link failure", true},
      {"[SQLSTATE 01000] notice; [SQLSTATE 08006] connection failure", true},
      {"[SQLSTATE HYT00] Timeout expired", true},
      {"[SQLSTATE HYT01] Connection timeout expired", true},
      {"[SQLSTATE 57P01] terminating connection due to administrator command", true},
      {"[SQLSTATE 57P03] the database system is starting up", true},
      {"[SQLSTATE 53300] sorry, too many clients already", true},
      {"[SQLSTATE 40P01] deadlock detected", true},
      {"[SQLSTATE HY000] database is locked", true},
      {"[SQLSTATE HY000] Database Is Busy", true},
      {"[SQLSTATE HY000] server closed the connection unexpectedly", true},
      {"[SQLSTATE 23505] duplicate key value violates unique constraint", false},
      {"[SQLSTATE 22003] numeric value out of range", false},
      {"[SQLSTATE 28P01] password authentication failed for user \"dam\"", false},
      {"[SQLSTATE 08001] connection to server on socket \"/tmp/.s.PGSQL.5432\" failed: FATAL:  "
       "password authentication failed for user \"dam\"",
       false},
      {"[SQLSTATE 08001] connection to server at \"spc01\" failed: FATAL:  database \"spcx\" "
       "does not exist",
       false},
      {"[SQLSTATE 08001] connection to server at \"spc01\" (10.0.0.5), port 5432 failed: "
       "Connection refused",
       true},
      {"[SQLSTATE 42S02] no such table: subgroups", false},
      {"[SQLSTATE HY000] attempt to write a readonly database", false},
      {"[SQLSTATE IM002] Data source name not found and no default driver specified", false},
      {"The test \"Width\" is not in the SPC database", false},
      {"[SQLSTATE 0800", false},
      {"", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(platform::IsUnavailable(runtime::Error(1, c.text, "ODBC")), c.unavailable) << c.text;
  }
}

}  // namespace
