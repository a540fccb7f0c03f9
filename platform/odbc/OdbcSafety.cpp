#include "platform/odbc/OdbcSafety.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/odbc/OdbcConnectionString.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace platform {
namespace {

// The pairs as a driver that cuts the string at every ';' sees them (the SQLite3 ODBC
// driver reads its keys so).
std::vector<ConnectionKey> SplitAtEverySemicolon(std::string_view text) {
  std::vector<ConnectionKey> pairs;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = std::min(text.find(';', start), text.size());
    std::string_view part = text.substr(start, end - start);
    size_t equals = part.find('=');
    if (equals != std::string_view::npos) {
      pairs.push_back({std::string(runtime::TrimSpaces(part.substr(0, equals))),
                       std::string(runtime::TrimSpaces(part.substr(equals + 1)))});
    }
    start = end + 1;
  }
  return pairs;
}

// Any white space, not only the blanks the parsers trim: a driver may trim more.
std::string_view TrimWhiteSpace(std::string_view text) {
  constexpr std::string_view kWhite = " \t\r\n\v\f";
  const size_t first = text.find_first_not_of(kWhite);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhite) - first + 1);
}

bool EndsWithNoCase(std::string_view text, std::string_view end) {
  return text.size() >= end.size() &&
         runtime::EqualsNoCase(text.substr(text.size() - end.size()), end);
}

bool NamesLibraryFile(std::string_view value) {
  if (value.find_first_of("/\\") != std::string_view::npos) return true;
  std::string name = runtime::ToUpper(value);
  while (!name.empty() && name.back() >= '0' && name.back() <= '9') {
    while (!name.empty() && name.back() >= '0' && name.back() <= '9') name.pop_back();
    if (!name.empty() && name.back() == '.') name.pop_back();
  }
  return EndsWithNoCase(name, ".so") || EndsWithNoCase(name, ".dll");
}

// Why `pair` is refused, or empty.
std::string Refusal(const ConnectionKey& pair) {
  const std::string_view key = TrimWhiteSpace(pair.key);
  const std::string named(key);
  auto is = [&](std::string_view name) { return runtime::EqualsNoCase(key, name); };
  if ((is("DRIVER") || is("SETUP")) && NamesLibraryFile(TrimWhiteSpace(pair.value))) {
    return named + "=" + std::string(TrimWhiteSpace(pair.value)) +
           " names a library file; name an installed ODBC driver by its registered name "
           "(Driver=SQLite3, Driver={PostgreSQL Unicode})";
  }
  if (is("FILEDSN")) return named + " reads a file data source, which can name a driver file";
  if (is("SAVEFILE")) return named + " makes the driver manager write a file data source";
  if (is("LOADEXT")) return named + " loads SQLite extension libraries into this process";
  if (is("TRACEFILE")) return named + " makes the driver write to a file it names";
  if ((is("PQOPT") || is("D5")) &&
      runtime::ToUpper(pair.value).find("SSLKEY") != std::string::npos) {
    return named + " sets libpq's sslkey, whose engine form loads an OpenSSL engine library";
  }
  return {};
}

}  // namespace

void RefuseUnsafeConnectionString(std::string_view connectionString) {
  for (const auto& pairs :
       {ParseConnectionString(connectionString), SplitAtEverySemicolon(connectionString)}) {
    for (const ConnectionKey& pair : pairs) {
      std::string why = Refusal(pair);
      if (why.empty()) continue;
      throw runtime::Error(runtime::kInvalidProcedureCall,
                           "Connection string refused: " + why +
                               ". Only the host setting AllowDriverPaths=1 in the [Security] "
                               "section of dam.ini allows it.",
                           "ODBC");
    }
  }
}

}  // namespace platform
