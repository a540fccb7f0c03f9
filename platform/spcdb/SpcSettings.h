// The settings of one SPC database session: where the database is, and whether unknown
// tests are created or refused.
#pragma once

#include <string>

#include "host/DatabaseSession.h"
#include "platform/odbc/OdbcPolicy.h"

namespace platform {

class SpcSettings : public host::DatabaseSettings {
 public:
  // An ODBC connection string ("Driver=SQLite3;Database=/path/spc.db"). Takes effect at
  // the next Open.
  std::string Connection() const override { return connection_; }
  void SetConnection(const std::string& connection) override { connection_ = connection; }

  // Off (the default): test groups and tests the database does not know are created when
  // a subgroup is saved, like every other name. On: looking up an unknown test group or
  // test fails. Drivers copy only the connection from the host's session, so the host
  // applies this to every session it creates.
  bool StrictTests() const { return strictTests_; }
  void SetStrictTests(bool strict) { strictTests_ = strict; }

  // What the connection is allowed and how long it may wait; takes effect at the next
  // connection.
  const OdbcPolicy& Odbc() const { return odbc_; }
  void SetOdbcPolicy(const OdbcPolicy& policy) { odbc_ = policy; }

 private:
  std::string connection_;
  bool strictTests_ = false;
  OdbcPolicy odbc_;
};

}  // namespace platform
