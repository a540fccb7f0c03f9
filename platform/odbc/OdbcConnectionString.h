// ODBC connection strings read exactly as unixODBC's driver manager reads them, so that what
// is checked here is what decides which driver it loads and what it does:
// - blanks (any white space) and ';' before a key are skipped; the key is everything up to
//   the next '=', ';' and blanks included ("a;b=1" has the key "a;b"); text without a
//   further '=' ends the string;
// - a value that starts right after the '=' with '{' runs to the next '}' not doubled ("}}"
//   is one '}') or to the end, and the next key starts right after that '}' ("{x}Driver=y"
//   is two pairs); any other value runs to the next ';', its blanks kept;
// - a NUL ends the string, as it does for the driver manager and the drivers;
// - keys compare by ASCII letters without regard to case, nothing else folded or trimmed.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

struct ConnectionKey {
  std::string key;
  std::string value;  // a braced value without its braces, "}}" undone

  bool operator==(const ConnectionKey&) const = default;
};

// Every pair in order, repeats included.
std::vector<ConnectionKey> ParseConnectionString(std::string_view connectionString);

// The pairs the driver manager keeps and uses: one per key, where the key first appears
// with the value it last has; of DSN on one side and DRIVER or FILEDSN on the other, only
// those of the side that comes first.
std::vector<ConnectionKey> KeptConnectionKeys(std::string_view connectionString);

// The value the driver manager uses for `key`, if the string has one.
std::optional<std::string> ConnectionValue(std::string_view connectionString, std::string_view key);

// True when a pair of the string has `key`.
bool HasConnectionKey(std::string_view connectionString, std::string_view key);

// Key and registered-name comparison of the driver manager (strcasecmp).
bool SameOdbcName(std::string_view a, std::string_view b);

// Appends ";key=value", bracing the value when it holds ';', '{', '}' or edge blanks.
void AppendConnectionKey(std::string& connectionString, std::string_view key,
                         std::string_view value);

}  // namespace platform
