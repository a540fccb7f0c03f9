// Error numbers of the SPC database component's own failures. Failures of the database
// itself keep the number and message the ODBC layer gives them.
#pragma once

#include <cstdint>

namespace platform {

// A name the database does not know where it is not created (strict tests), in the
// range COM components use for their own errors (vbObjectError + 513).
inline constexpr int32_t kSpcUnknownName = -2147220991;
// A schema the program cannot use: newer than it knows, or not an SPC database.
inline constexpr int32_t kSpcSchemaMismatch = -2147220990;
// An SQLite file that holds another program's tables and none of the SPC database's.
inline constexpr int32_t kSpcOtherDatabase = -2147220989;
// A session used before Open, or without a connection setting, fails as a closed connection
// does: runtime::kConnectionClosed.

}  // namespace platform
