#include "apps/dam/output/RunEvents.h"

#include <QJsonArray>
#include <QJsonObject>

#include "apps/dam/output/JsonOutput.h"
#include "runtime/Clock.h"

namespace dam {
namespace {

QJsonObject Event(const char* kind) {
  return QJsonObject{{"schema", kJsonSchema},
                     {"event", kind},
                     {"time", QString::fromStdString(IsoTime(runtime::Now()))}};
}

}  // namespace

void RunEvents::Write(const std::string& state, int32_t saved, int64_t spooled, int64_t lost,
                      const std::vector<std::string>& errors) {
  for (const std::string& error : errors) Error(error);
  const Status status{state, saved, spooled, lost};
  if (status == last_) return;
  last_ = status;
  QJsonObject event = Event("status");
  event.insert("state", QString::fromStdString(state));
  event.insert("saved", saved);
  event.insert("spooled", static_cast<qint64>(spooled));
  event.insert("lost", static_cast<qint64>(lost));
  out_ << JsonLine(event) << std::flush;
}

void RunEvents::Error(const std::string& message) {
  QJsonObject event = Event("error");
  event.insert("message", QString::fromStdString(message));
  out_ << JsonLine(event) << std::flush;
}

void RunEvents::OutOfControl(const dam::OutOfControl& found) {
  QJsonObject event = Event("out-of-control");
  const auto numbers = [](platform::SpcRules rules) {
    QJsonArray list;
    for (const int rule : platform::RuleNumbers(rules)) list.append(rule);
    return list;
  };
  event.insert("configuration", QString::fromStdString(found.configuration));
  event.insert("test", QString::fromStdString(found.test));
  // The time of the subgroup that broke the rule, not of the check.
  event.insert("time", QString::fromStdString(IsoTime(found.time)));
  event.insert("rules", numbers(found.rules));
  event.insert("spread_rules", numbers(found.spreadRules));
  out_ << JsonLine(event) << std::flush;
}

}  // namespace dam
