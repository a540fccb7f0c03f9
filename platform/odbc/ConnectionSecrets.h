// Passwords in ODBC connection strings, kept out of what people see. A password key is
// PWD, Password, or any key ending in "pwd" or "password", without regard to case and
// blanks around it. Texts that repeat a connection string (error messages) are read the
// same way: "...: Driver=x;PWD=secret" masks "secret".
#pragma once

#include <string>
#include <string_view>

namespace platform {

// `text` with the value of every password key replaced by "***" (a braced value as a
// whole, up to the next ';'); everything else as it stands.
std::string MaskConnectionSecrets(std::string_view text);

// True when `text` gives a password key a value that is not empty.
bool HoldsConnectionSecret(std::string_view text);

}  // namespace platform
