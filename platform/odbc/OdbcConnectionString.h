// ODBC connection strings: their "key=value" pairs as the driver manager reads them,
// whether a string names a key, and adding a key with its value quoted as the syntax needs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform {

struct ConnectionKey {
  std::string key;    // trimmed of blanks, case kept
  std::string value;  // trimmed of blanks; a braced value without its braces, "}}" undone
};

// Every pair in order, duplicates included. Pairs are separated by ';' outside braces; a
// part without '=' is skipped.
std::vector<ConnectionKey> ParseConnectionString(std::string_view connectionString);

// True when one of the string's pairs has `key`, compared without regard to case.
bool HasConnectionKey(std::string_view connectionString, std::string_view key);

// Appends ";key=value", bracing the value when it holds ';', '{', '}' or edge blanks.
void AppendConnectionKey(std::string& connectionString, std::string_view key,
                         std::string_view value);

}  // namespace platform
