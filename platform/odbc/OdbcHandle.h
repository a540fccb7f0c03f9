// An ODBC handle that frees itself, and the one checked path every ODBC call goes
// through: a failing call becomes a runtime::Error with the driver's native error number
// and its diagnostics, each named by its SQLSTATE.
#pragma once

#include <cstdint>

#include <sql.h>
#include <sqlext.h>

namespace platform {

// The number of an ODBC failure whose driver reports no native error number, so that
// callers testing for a non-zero number still see the failure (0x80004005).
inline constexpr int32_t kUnspecifiedOdbcError = -2147467259;

// Throws runtime::Error (source "ODBC") when `rc` is SQL_ERROR or SQL_INVALID_HANDLE,
// with the diagnostic records of `handle` ("[SQLSTATE 42S02] no such table: t").
// `call` names the ODBC function for failures that leave no diagnostics. Gives `rc` back
// otherwise (SQL_SUCCESS_WITH_INFO and SQL_NO_DATA are not failures).
SQLRETURN CheckOdbc(SQLRETURN rc, SQLSMALLINT handleType, SQLHANDLE handle, const char* call);

class OdbcHandle {
 public:
  // Allocates a handle of `type` (SQL_HANDLE_ENV, _DBC, _STMT) under `parent`, which is
  // null for an environment.
  OdbcHandle(SQLSMALLINT type, const OdbcHandle* parent);
  ~OdbcHandle();
  OdbcHandle(OdbcHandle&& other) noexcept;
  OdbcHandle& operator=(OdbcHandle&&) = delete;
  OdbcHandle(const OdbcHandle&) = delete;
  OdbcHandle& operator=(const OdbcHandle&) = delete;

  SQLHANDLE get() const { return handle_; }
  SQLSMALLINT type() const { return type_; }

  // CheckOdbc with this handle's diagnostics.
  SQLRETURN Check(SQLRETURN rc, const char* call) const {
    return CheckOdbc(rc, type_, handle_, call);
  }

 private:
  SQLSMALLINT type_;
  SQLHANDLE handle_ = nullptr;
};

}  // namespace platform
