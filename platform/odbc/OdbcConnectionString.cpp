#include "platform/odbc/OdbcConnectionString.h"

#include <algorithm>

namespace platform {
namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

char AsciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::vector<ConnectionKey> ParseConnectionString(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  std::vector<ConnectionKey> pairs;
  size_t at = 0;
  while (true) {
    while (at < text.size() && (IsBlank(text[at]) || text[at] == ';')) ++at;
    const size_t equals = text.find('=', at);
    if (equals == std::string_view::npos) return pairs;
    ConnectionKey pair{std::string(text.substr(at, equals - at)), {}};
    at = equals + 1;
    if (at < text.size() && text[at] == '{') {
      for (++at; at < text.size(); ++at) {
        if (text[at] == '}') {
          if (at + 1 == text.size() || text[at + 1] != '}') break;
          ++at;
        }
        pair.value += text[at];
      }
      if (at < text.size()) ++at;  // the closing '}'
    } else {
      const size_t end = std::min(text.find(';', at), text.size());
      pair.value = text.substr(at, end - at);
      at = end;
    }
    pairs.push_back(std::move(pair));
  }
}

std::vector<ConnectionKey> KeptConnectionKeys(std::string_view connectionString) {
  std::vector<ConnectionKey> kept;
  bool dataSource = false, driver = false;
  for (ConnectionKey& pair : ParseConnectionString(connectionString)) {
    if (SameOdbcName(pair.key, "DSN")) {
      if (driver) continue;
      dataSource = true;
    } else if (SameOdbcName(pair.key, "DRIVER") || SameOdbcName(pair.key, "FILEDSN")) {
      if (dataSource) continue;
      driver = true;
    }
    auto same = std::find_if(kept.begin(), kept.end(), [&](const ConnectionKey& known) {
      return SameOdbcName(known.key, pair.key);
    });
    if (same != kept.end()) {
      same->value = std::move(pair.value);
    } else {
      kept.push_back(std::move(pair));
    }
  }
  return kept;
}

std::optional<std::string> ConnectionValue(std::string_view connectionString,
                                           std::string_view key) {
  for (ConnectionKey& pair : KeptConnectionKeys(connectionString)) {
    if (SameOdbcName(pair.key, key)) return std::move(pair.value);
  }
  return std::nullopt;
}

bool HasConnectionKey(std::string_view connectionString, std::string_view key) {
  const std::vector<ConnectionKey> pairs = ParseConnectionString(connectionString);
  return std::any_of(pairs.begin(), pairs.end(),
                     [&](const ConnectionKey& pair) { return SameOdbcName(pair.key, key); });
}

bool SameOdbcName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return AsciiLower(x) == AsciiLower(y);
         });
}

void AppendConnectionKey(std::string& connectionString, std::string_view key,
                         std::string_view value) {
  if (!connectionString.empty() && connectionString.back() != ';') connectionString += ';';
  connectionString.append(key).append("=");
  bool braced = value.find_first_of(";{}") != std::string_view::npos ||
                (!value.empty() && (IsBlank(value.front()) || IsBlank(value.back())));
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
