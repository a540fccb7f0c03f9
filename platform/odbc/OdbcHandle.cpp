#include "platform/odbc/OdbcHandle.h"

#include <optional>
#include <string>
#include <utility>

#include "platform/odbc/OdbcDiagnostics.h"
#include "runtime/Error.h"

namespace platform {

SQLRETURN CheckOdbc(SQLRETURN rc, SQLSMALLINT handleType, SQLHANDLE handle, const char* call) {
  if (rc != SQL_ERROR && rc != SQL_INVALID_HANDLE) return rc;
  std::string message;
  const std::optional<OdbcDiagnostic> first =
      rc == SQL_ERROR ? Diagnostic(handleType, handle) : std::nullopt;
  if (first) {
    message = DescribedWithState(*first);
    for (SQLSMALLINT record = 2;; ++record) {
      const std::optional<OdbcDiagnostic> next = Diagnostic(handleType, handle, record);
      if (!next) break;
      message += "; " + DescribedWithState(*next);
    }
  } else {
    message = std::string(call) + (rc == SQL_INVALID_HANDLE ? " was given an invalid handle"
                                                            : " failed without diagnostics");
  }
  const int32_t number = first && first->native != 0 ? first->native : kUnspecifiedOdbcError;
  throw runtime::Error(number, message, "ODBC", first ? first->state : std::string());
}

OdbcHandle::OdbcHandle(SQLSMALLINT type, const OdbcHandle* parent) : type_(type) {
  SQLHANDLE parentHandle = parent != nullptr ? parent->get() : SQL_NULL_HANDLE;
  SQLSMALLINT parentType = type == SQL_HANDLE_STMT ? SQL_HANDLE_DBC : SQL_HANDLE_ENV;
  SQLRETURN rc = SQLAllocHandle(type, parentHandle, &handle_);
  if (!SQL_SUCCEEDED(rc)) {
    handle_ = nullptr;
    CheckOdbc(rc == SQL_INVALID_HANDLE ? rc : SQL_ERROR, parentType, parentHandle,
              "SQLAllocHandle");
  }
}

OdbcHandle::~OdbcHandle() {
  if (handle_ != nullptr) SQLFreeHandle(type_, handle_);
}

OdbcHandle::OdbcHandle(OdbcHandle&& other) noexcept
    : type_(other.type_), handle_(std::exchange(other.handle_, nullptr)) {}

}  // namespace platform
