#include "platform/odbc/OdbcDiagnostics.h"

#include <regex>

#include <sqlext.h>

namespace platform {
namespace {

constexpr std::string_view kStatePrefix = "[SQLSTATE ";

// Some drivers split a message over lines or indent it with tabs; errors travel into
// one-line logs, whose fields a tab separates, and status texts.
std::string OneLine(std::string_view text) {
  std::string line;
  for (char c : text) {
    if (c != '\r' && c != '\n' && c != '\t') {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

}  // namespace

std::optional<OdbcDiagnostic> Diagnostic(SQLSMALLINT handleType, SQLHANDLE handle,
                                         SQLSMALLINT record) {
  if (handle == SQL_NULL_HANDLE) return std::nullopt;
  SQLCHAR state[SQL_SQLSTATE_SIZE + 1] = {};
  SQLINTEGER native = 0;
  SQLCHAR text[SQL_MAX_MESSAGE_LENGTH] = {};
  SQLSMALLINT length = 0;
  if (!SQL_SUCCEEDED(
          SQLGetDiagRec(handleType, handle, record, state, &native, text, sizeof text, &length))) {
    return std::nullopt;
  }
  return OdbcDiagnostic{reinterpret_cast<char*>(state), native,
                        OneLine(reinterpret_cast<char*>(text))};
}

bool IsConnectionLost(std::string_view sqlState) {
  return sqlState.starts_with("08") || sqlState.starts_with("57P0");
}

bool IsSqliteLocked(int32_t native) {
  return native == 5 || native == 6;
}

std::string DescribedWithState(const OdbcDiagnostic& diagnostic) {
  return std::string(kStatePrefix) + diagnostic.state + "] " + diagnostic.text;
}

std::string WithoutSqlStates(std::string_view description) {
  static const std::regex kState(R"(\[SQLSTATE [0-9A-Z]{5}\] ?)");
  return std::regex_replace(std::string(description), kState, "");
}

}  // namespace platform
