// Texts of the codes stored in configurations and engine state (the codes themselves:
// DescriptorType.h, Evaluation.h, DataLinkState.h, IntervalUnit.h). Unknown codes give the
// documented fallback texts; nothing here fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace common {

// "Part", "Process", ... "Time" for 1 to 9; "" otherwise.
std::string GetDescriptorType(int32_t code);
// The operator ("=") or, with description, "= (Tag Value = Compare Value)".
std::string GetEvaluationType(int32_t code, bool withDescription);
// "No Connection" ... "Connection Ready" for 0 to 6; "" otherwise.
std::string GetDataLinkStatus(int32_t code);
// "Seconds", "Minutes", "Hours", "Days" for 0 to 3; "" otherwise.
std::string GetUnitName(int32_t code);

// The fixed names of the historian's tables and columns.
inline constexpr char kTagsTable[] = "ihTags";
inline constexpr char kRawDataTable[] = "ihRawData";
inline constexpr char kTagnameField[] = "Tagname";
inline constexpr char kTimeStampField[] = "TimeStamp";
inline constexpr char kValueField[] = "Value";
// Tag names one historian statement binds at most. Every driver a historian is reached
// through takes this many: SQLite builds before 3.32 allow 999 parameters, Oracle 1000 items
// in an IN-list, SQL Server 2100 parameters. More tags run the statement once per part.
inline constexpr size_t kTagsPerStatement = 999;

}  // namespace common
