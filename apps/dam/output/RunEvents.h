// `dam run --ndjson`: instead of the status line, one JSON object per line for tools
// that follow a run. Each carries "schema" (kJsonSchema), "event" and "time" (IsoTime):
//   {"event":"status","state":"running","saved":3,"spooled":0,"lost":0,...}  when one changed
//   {"event":"error","message":"Unable to Access Database: ...",...}  for each error
//   {"event":"out-of-control","configuration":"Line 3","test":"Fill/Weight","rules":[1],
//    "spread_rules":[],...}  for each rule break; its "time" is the subgroup's
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "apps/dam/host/OutOfControlCheck.h"

namespace dam {

class RunEvents {
 public:
  // Every line is flushed as written.
  explicit RunEvents(std::ostream& out) : out_(out) {}

  // After each look at the driver: an error event per error in `errors`, then a status
  // event when the state or a count differs from the last one written.
  void Write(const std::string& state, int32_t saved, int64_t spooled, int64_t lost,
             const std::vector<std::string>& errors);
  void Error(const std::string& message);
  void OutOfControl(const dam::OutOfControl& found);

 private:
  struct Status {
    std::string state;
    int32_t saved;
    int64_t spooled;
    int64_t lost;
    friend bool operator==(const Status&, const Status&) = default;
  };

  std::ostream& out_;
  std::optional<Status> last_;
};

}  // namespace dam
