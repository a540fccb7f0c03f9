// `dam run --ndjson`: everything the run says, as one JSON object per line on stdout, for
// tools that follow a run. Each carries "schema" (kJsonSchema), "event", "time" (IsoTime)
// and, when it is about one configuration, "configuration" (its name):
//   {"event":"status","state":"running","saved":3,"spooled":0,"lost":0,"next":"...",...}
//       when the state or a count changed; "next" is the next collection's time
//   {"event":"error","message":"Unable to Access Database: ...","number":0,
//       "source":"collection log",...}  for each error, and for a configuration that fails
//   {"event":"historian","status":"Connection Ready",...}  as a configuration starts
//   {"event":"finding","file":"a.cfg","line":3,"severity":"warning","message":"...",...}
//   {"event":"out-of-control","test":"Fill/Weight","rules":[1],"spread_rules":[],...}
//       for each rule break; its "time" is the subgroup's
//   {"event":"reload",...}, {"event":"removed",...}, {"event":"stopped","saved":12,...}
//   {"event":"message","message":"..."}  for any other line, which would go to stderr
#pragma once

#include <QJsonObject>
#include <cstdint>
#include <mutex>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "apps/dam/host/OutOfControlCheck.h"
#include "apps/dam/host/RunStatus.h"
#include "host/CheckFinding.h"

namespace dam {

class RunEvents {
 public:
  // The events of the configuration named `configuration`, or of the whole run for "".
  // Every line is flushed as written.
  RunEvents(std::ostream& out, std::string configuration)
      : out_(out), configuration_(std::move(configuration)) {}

  // After each look at the driver: an error event per error in `errors`, then a status
  // event when the state or a count differs from the last one written.
  void Write(const std::string& state, int64_t saved, int64_t spooled, int64_t lost,
             const std::string& next, const std::vector<RunError>& errors);
  void Error(const RunError& error);
  void OutOfControl(const dam::OutOfControl& found);
  void Historian(const std::string& status);
  void Finding(const std::string& file, const host::CheckFinding& finding);
  // An event of `kind` with nothing more, or with a "message" or a "saved" count.
  void Note(const char* kind, const std::string& message = "");
  void Stopped(int64_t saved);

 private:
  struct Status {
    std::string state;
    int64_t saved;
    int64_t spooled;
    int64_t lost;
    friend bool operator==(const Status&, const Status&) = default;
  };

  QJsonObject Event(const char* kind) const;
  void Put(const QJsonObject& event);

  std::ostream& out_;
  const std::string configuration_;
  std::optional<Status> last_;
};

// A stream buffer that turns every line written to it, from any thread, into a "message"
// event on `out`; while `out` fails, the line goes to `fallback` as it is.
class MessageEvents : public std::streambuf {
 public:
  MessageEvents(std::ostream& out, std::streambuf* fallback) : out_(out), fallback_(fallback) {}

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* text, std::streamsize count) override;

 private:
  std::ostream& out_;
  std::streambuf* fallback_;
  std::mutex mutex_;
  std::string line_;
};

}  // namespace dam
