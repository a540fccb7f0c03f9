// Saved subgroups as CSV, one row per subgroup in the wide shape spreadsheets and statistics
// tools read (RFC 4180: fields with a comma, quote or line end quoted, lines end in CR LF).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/spcdb/SpcSubgroupData.h"

namespace dam {

// A header row, then one row per subgroup: id, time (IsoTime), size, configuration, the
// group and name of part, process, job and shift, lot, serial, one column per user-defined
// descriptor group, then one per characteristic sample, "GROUP/TEST#k", holding its value,
// and "GROUP/TEST#k defect" for those that record a defect in any of the rows. Columns come
// in the order they first appear; a subgroup without one leaves its field empty.
std::string SubgroupsCsv(const std::vector<platform::SpcSubgroupData>& subgroups);

// `text` as one CSV field.
std::string CsvField(std::string_view text);

}  // namespace dam
