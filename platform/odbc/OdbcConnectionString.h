// ODBC connection string keys: whether a string names a key, and adding a key with its
// value quoted as the connection string syntax needs.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// True when one of the string's "key=value" pairs has `key`, compared without regard to
// case. Braced values ("PWD={a;b}") are skipped as a whole.
bool HasConnectionKey(std::string_view connectionString, std::string_view key);

// Appends ";key=value", bracing the value when it holds ';', '{', '}' or edge blanks.
void AppendConnectionKey(std::string& connectionString, std::string_view key,
                         std::string_view value);

}  // namespace platform
