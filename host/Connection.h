// Data access to a database reached by a connection string (the historian's data link,
// the SPC database). Failures are runtime::Error with the provider's native error number
// and its message, which names the SQLSTATE.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Variant.h"

namespace host {

// The rows of one statement, read forward once. A recordset keeps its connection alive
// until it is released.
class Recordset {
 public:
  virtual ~Recordset() = default;
  // True when there is no current row: after the last row, or at once for no rows.
  virtual bool Eof() const = 0;
  virtual void MoveNext() = 0;
  // The current row's column by name, compared without regard to case. Timestamps read as
  // Date, integers as Long, other numbers as Double, text as String, SQL NULL as Null.
  // An unknown column is an error.
  virtual runtime::Variant Field(std::string_view name) const = 0;
};

class Connection {
 public:
  virtual ~Connection() = default;
  // `options` is passed through as the caller gives it (-1: unspecified).
  virtual void Open(const std::string& connectionString, const std::string& user,
                    const std::string& password, int32_t options = -1) = 0;
  // Runs one statement. A statement without a result set gives a recordset at end.
  virtual std::unique_ptr<Recordset> Execute(const std::string& sql, int32_t options = -1) = 0;
  // Runs one statement with `parameters` bound to its "?" markers in order, so a value
  // never becomes SQL. A single parameter must be written as
  // std::vector<runtime::Variant>{value}: a braced integer alone would choose the overload
  // above.
  virtual std::unique_ptr<Recordset> Execute(const std::string& sql,
                                             const std::vector<runtime::Variant>& parameters) = 0;
  virtual void Close() = 0;
  // The open database's product, as its driver names it ("SQLite", "PostgreSQL"), for
  // SQL that only some products take.
  virtual std::string DbmsName() const = 0;
};

}  // namespace host
