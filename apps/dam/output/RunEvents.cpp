#include "apps/dam/output/RunEvents.h"

#include <QJsonArray>
#include <QJsonObject>
#include <chrono>

#include "apps/dam/output/JsonOutput.h"

namespace dam {
namespace {

QString Text(const std::string& text) {
  return QString::fromStdString(text);
}

}  // namespace

QJsonObject RunEvents::Event(const char* kind) const {
  // The instant itself: as a local time it could not be placed in the hour repeated as
  // summer time ends.
  QJsonObject event{{"schema", kJsonSchema},
                    {"event", kind},
                    {"time", Text(IsoTime(std::chrono::system_clock::now()))}};
  if (!configuration_.empty()) event.insert("configuration", Text(configuration_));
  return event;
}

void RunEvents::Put(const QJsonObject& event) {
  out_ << JsonLine(event) << std::flush;
}

void RunEvents::Write(const std::string& state, int64_t saved, int64_t spooled, int64_t lost,
                      const std::string& next, const std::vector<RunError>& errors) {
  for (const RunError& error : errors) Error(error);
  const Status status{state, saved, spooled, lost};
  if (status == last_) return;
  last_ = status;
  QJsonObject event = Event("status");
  event.insert("state", Text(state));
  event.insert("saved", static_cast<qint64>(saved));
  event.insert("spooled", static_cast<qint64>(spooled));
  event.insert("lost", static_cast<qint64>(lost));
  event.insert("next", Text(next));
  Put(event);
}

void RunEvents::Error(const RunError& error) {
  QJsonObject event = Event("error");
  event.insert("message", Text(error.message));
  event.insert("number", error.number);
  event.insert("source", Text(error.source));
  Put(event);
}

void RunEvents::Historian(const std::string& status) {
  QJsonObject event = Event("historian");
  event.insert("status", Text(status));
  Put(event);
}

void RunEvents::Finding(const std::string& file, const host::CheckFinding& finding) {
  QJsonObject event = Event("finding");
  event.insert("file", Text(file));
  event.insert("line", finding.line);
  event.insert("severity", finding.error ? "error" : "warning");
  event.insert("message", Text(finding.text));
  Put(event);
}

void RunEvents::Note(const char* kind, const std::string& message) {
  QJsonObject event = Event(kind);
  if (!message.empty()) event.insert("message", Text(message));
  Put(event);
}

void RunEvents::Stopped(int64_t saved) {
  QJsonObject event = Event("stopped");
  event.insert("saved", static_cast<qint64>(saved));
  Put(event);
}

MessageEvents::int_type MessageEvents::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  const char put = traits_type::to_char_type(c);
  return xsputn(&put, 1) == 1 ? c : traits_type::eof();
}

std::streamsize MessageEvents::xsputn(const char* text, std::streamsize count) {
  std::lock_guard lock(mutex_);
  for (std::streamsize i = 0; i < count; ++i) {
    if (text[i] != '\n') {
      line_ += text[i];
      continue;
    }
    RunEvents(out_, "").Note("message", line_);
    if (!out_)
      fallback_->sputn((line_ + '\n').data(), static_cast<std::streamsize>(line_.size() + 1));
    line_.clear();
  }
  return count;
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
  Put(event);
}

}  // namespace dam
