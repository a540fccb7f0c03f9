// A statement prepared once and run many times with new parameter values, for inserting
// or updating many rows. It shares its connection's session, like a recordset, and gives
// its statement back to the session for the next Prepare of the same text.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/odbc/OdbcHandle.h"
#include "platform/odbc/OdbcSession.h"
#include "runtime/Variant.h"

namespace platform {

class OdbcStatement {
 public:
  // Prepares `sql`, whose "?" markers take the parameters of each Execute.
  OdbcStatement(std::shared_ptr<OdbcSession> session, std::string sql);
  ~OdbcStatement();
  OdbcStatement(const OdbcStatement&) = delete;
  OdbcStatement& operator=(const OdbcStatement&) = delete;

  // Runs the statement with `parameters` bound to the markers in order (see
  // OdbcParameters for the types). Gives the number of rows affected, -1 when the driver
  // cannot tell. A result set the statement produces is discarded.
  int64_t Execute(const std::vector<runtime::Variant>& parameters);

 private:
  std::shared_ptr<OdbcSession> session_;
  std::string sql_;
  OdbcHandle statement_;
};

}  // namespace platform
