#include "platform/odbc/OdbcConnectionString.h"

#include "runtime/Text.h"

namespace platform {

bool HasConnectionKey(std::string_view connectionString, std::string_view key) {
  size_t position = 0;
  while (position < connectionString.size()) {
    size_t equals = connectionString.find('=', position);
    size_t semicolon = connectionString.find(';', position);
    if (equals == std::string_view::npos) return false;
    if (semicolon < equals) {
      position = semicolon + 1;
      continue;
    }
    if (runtime::EqualsNoCase(
            runtime::TrimSpaces(connectionString.substr(position, equals - position)), key)) {
      return true;
    }
    size_t value = equals + 1;
    while (value < connectionString.size() && connectionString[value] == ' ') ++value;
    if (value < connectionString.size() && connectionString[value] == '{') {
      // A braced value ends at a '}' that is not doubled.
      size_t close = value + 1;
      while (close < connectionString.size()) {
        if (connectionString[close] == '}') {
          if (close + 1 < connectionString.size() && connectionString[close + 1] == '}') {
            close += 2;
            continue;
          }
          break;
        }
        ++close;
      }
      value = close;
    }
    semicolon = connectionString.find(';', value);
    if (semicolon == std::string_view::npos) return false;
    position = semicolon + 1;
  }
  return false;
}

void AppendConnectionKey(std::string& connectionString, std::string_view key,
                         std::string_view value) {
  if (!connectionString.empty() && connectionString.back() != ';') connectionString += ';';
  connectionString.append(key).append("=");
  bool braced = value.find_first_of(";{}") != std::string_view::npos ||
                (!value.empty() && (value.front() == ' ' || value.back() == ' '));
  if (!braced) {
    connectionString.append(value);
    return;
  }
  connectionString += '{';
  for (char c : value) {
    connectionString += c;
    if (c == '}') connectionString += '}';
  }
  connectionString += '}';
}

}  // namespace platform
