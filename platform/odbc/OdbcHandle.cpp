#include "platform/odbc/OdbcHandle.h"

#include <string>
#include <string_view>
#include <utility>

#include "runtime/Error.h"

namespace platform {
namespace {

// Some drivers split a message over lines; errors travel into one-line logs and status texts.
std::string OneLine(std::string_view text) {
  std::string line;
  for (char c : text) {
    if (c != '\r' && c != '\n') {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

}  // namespace

SQLRETURN CheckOdbc(SQLRETURN rc, SQLSMALLINT handleType, SQLHANDLE handle, const char* call) {
  if (rc != SQL_ERROR && rc != SQL_INVALID_HANDLE) return rc;
  std::string message;
  SQLINTEGER number = 0;
  if (rc == SQL_ERROR && handle != SQL_NULL_HANDLE) {
    for (SQLSMALLINT record = 1;; ++record) {
      SQLCHAR state[SQL_SQLSTATE_SIZE + 1] = {};
      SQLINTEGER native = 0;
      SQLCHAR text[SQL_MAX_MESSAGE_LENGTH] = {};
      SQLSMALLINT length = 0;
      SQLRETURN diag =
          SQLGetDiagRec(handleType, handle, record, state, &native, text, sizeof text, &length);
      if (!SQL_SUCCEEDED(diag)) break;
      if (record == 1) number = native;
      if (!message.empty()) message += "; ";
      message += "[SQLSTATE " + std::string(reinterpret_cast<char*>(state)) + "] " +
                 OneLine(reinterpret_cast<char*>(text));
    }
  }
  if (message.empty()) {
    message = std::string(call) + (rc == SQL_INVALID_HANDLE ? " was given an invalid handle"
                                                            : " failed without diagnostics");
  }
  throw runtime::Error(number != 0 ? number : kUnspecifiedOdbcError, message, "ODBC");
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
