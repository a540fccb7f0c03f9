// The outcome of one test of a historian data link (Configuration1::TestDataLink): its state,
// a code of common/DataLinkState.h, and for a test that failed the data access error that
// failed it, as "number - description".
#pragma once

#include <cstdint>
#include <string>

namespace host {

struct DataLinkTest {
  int32_t state = 0;
  std::string error;
};

}  // namespace host
