// Outcomes of the data link test (Configuration1.DataLinkState). The test never sets
// kTagsFieldInaccessible: a Tagname column it cannot read counts as the ihTags table.
#pragma once

#include <cstdint>

namespace common {

enum DataLinkState : int32_t {
  kNoConnection = 0,
  kUnableToConnect = 1,
  kTagsTableInaccessible = 2,
  kRawDataTableInaccessible = 3,
  kTagsFieldInaccessible = 4,
  kRawDataFieldInaccessible = 5,
  kConnectionReady = 6,
};
inline constexpr DataLinkState kFirstDataLinkState = kNoConnection;
inline constexpr DataLinkState kLastDataLinkState = kConnectionReady;

}  // namespace common
