#include "platform/odbc/OdbcConnectionString.h"

#include "runtime/Text.h"

namespace platform {

std::vector<ConnectionKey> ParseConnectionString(std::string_view text) {
  std::vector<ConnectionKey> pairs;
  size_t position = 0;
  while (position < text.size()) {
    size_t equals = text.find('=', position);
    size_t semicolon = text.find(';', position);
    if (equals == std::string_view::npos) break;
    if (semicolon < equals) {
      position = semicolon + 1;
      continue;
    }
    ConnectionKey pair;
    pair.key = runtime::TrimSpaces(text.substr(position, equals - position));
    size_t value = equals + 1;
    while (value < text.size() && text[value] == ' ') ++value;
    size_t end = value;
    if (value < text.size() && text[value] == '{') {
      // A braced value ends at a '}' that is not doubled.
      for (end = value + 1; end < text.size(); ++end) {
        if (text[end] != '}') {
          pair.value += text[end];
        } else if (end + 1 < text.size() && text[end + 1] == '}') {
          pair.value += '}';
          ++end;
        } else {
          break;
        }
      }
      semicolon = text.find(';', end);
    } else {
      semicolon = text.find(';', value);
      pair.value = runtime::TrimSpaces(text.substr(value, semicolon - value));
    }
    pairs.push_back(std::move(pair));
    if (semicolon == std::string_view::npos) break;
    position = semicolon + 1;
  }
  return pairs;
}

bool HasConnectionKey(std::string_view connectionString, std::string_view key) {
  for (const ConnectionKey& pair : ParseConnectionString(connectionString)) {
    if (runtime::EqualsNoCase(pair.key, key)) return true;
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
