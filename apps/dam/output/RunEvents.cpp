#include "apps/dam/output/RunEvents.h"

#include "apps/dam/output/JsonOutput.h"
#include "runtime/Clock.h"

namespace dam {

QJsonObject RunEvents::Event(const char* kind) const {
  return QJsonObject{{"schema", kJsonSchema},
                     {"event", kind},
                     {"time", QString::fromStdString(IsoTime(runtime::Now()))},
                     {"configuration", QString::fromStdString(configuration_)}};
}

void RunEvents::Write(const std::string& state, int32_t saved, int64_t spooled, int64_t lost,
                      const std::string& next, const std::vector<std::string>& errors) {
  for (const std::string& error : errors) Error(error);
  const Status status{state, saved, spooled, lost};
  if (status == last_) return;
  last_ = status;
  QJsonObject event = Event("status");
  event.insert("state", QString::fromStdString(state));
  event.insert("saved", saved);
  event.insert("spooled", static_cast<qint64>(spooled));
  event.insert("lost", static_cast<qint64>(lost));
  event.insert("next", QString::fromStdString(next));
  out_ << JsonLine(event) << std::flush;
}

void RunEvents::Error(const std::string& message) {
  QJsonObject event = Event("error");
  event.insert("message", QString::fromStdString(message));
  out_ << JsonLine(event) << std::flush;
}

}  // namespace dam
