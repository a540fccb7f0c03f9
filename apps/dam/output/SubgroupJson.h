// A saved subgroup as JSON, the shape `dam subgroups --json` and `--ndjson` print and the
// README documents. Every object carries "schema" (kJsonSchema), so a line read on its own
// says which shape it has.
#pragma once

#include <QJsonObject>

#include "platform/spcdb/SpcSubgroupData.h"

namespace dam {

// Keys: schema, id, configuration (null when not stored), time (IsoTime), size, part,
// process, job, shift ({"group", "name"} or null), lot (text or null), user_defined
// ([{"group", "name"}]), readings ([{"test_group", "test", "sample", "value", "serial",
// "defect"}], a value that is no finite number as null).
QJsonObject SubgroupJson(const platform::SpcSubgroupData& subgroup);

}  // namespace dam
