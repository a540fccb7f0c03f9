// `dam run --ndjson`: instead of the status line, one JSON object per line for tools
// that follow a run. Each carries "schema" (kJsonSchema), "event", "time" (IsoTime) and
// "configuration" (its name):
//   {"event":"status","state":"running","saved":3,"spooled":0,"lost":0,"next":"...",...}
//       when the state or a count changed
//   {"event":"error","message":"Unable to Access Database: ...",...}  for each error
#pragma once

#include <QJsonObject>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace dam {

class RunEvents {
 public:
  // The events of the configuration named `configuration`. Every line is flushed as written.
  RunEvents(std::ostream& out, std::string configuration)
      : out_(out), configuration_(std::move(configuration)) {}

  // After each look at the driver: an error event per error in `errors`, then a status
  // event when the state or a count differs from the last one written. `next` is the
  // next collection's time.
  void Write(const std::string& state, int32_t saved, int64_t spooled, int64_t lost,
             const std::string& next, const std::vector<std::string>& errors);
  void Error(const std::string& message);

 private:
  struct Status {
    std::string state;
    int32_t saved;
    int64_t spooled;
    int64_t lost;
    friend bool operator==(const Status&, const Status&) = default;
  };

  QJsonObject Event(const char* kind) const;

  std::ostream& out_;
  const std::string configuration_;
  std::optional<Status> last_;
};

}  // namespace dam
