#include "apps/dam/output/JsonOutput.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace dam {
namespace {

constexpr int64_t kMillisecondsPerDay = 86'400'000;

// The local wall-clock date and time `time` stands for, to the millisecond.
std::pair<QDate, QTime> LocalTime(runtime::Date time) {
  const auto milliseconds = static_cast<int64_t>(std::llround(time.serial * kMillisecondsPerDay));
  const int64_t days =
      (milliseconds - (milliseconds < 0 ? kMillisecondsPerDay - 1 : 0)) / kMillisecondsPerDay;
  return {
      QDate(1899, 12, 30).addDays(days),
      QTime::fromMSecsSinceStartOfDay(static_cast<int>(milliseconds - days * kMillisecondsPerDay))};
}

}  // namespace

double UnixSeconds(runtime::Date time) {
  const auto [date, clock] = LocalTime(time);
  return static_cast<double>(QDateTime(date, clock).toMSecsSinceEpoch()) / 1000.0;
}

std::string IsoTime(runtime::Date time) {
  const auto [date, clock] = LocalTime(time);
  // The wall clock is written as kept; the zone rules only give its offset.
  const int offset = QDateTime(date, clock).offsetFromUtc() / 60;
  char zone[24];
  std::snprintf(zone, sizeof zone, "%c%02d:%02d", offset < 0 ? '-' : '+', std::abs(offset) / 60,
                std::abs(offset) % 60);
  return (date.toString(u"yyyy-MM-dd") + u'T' + clock.toString(u"HH:mm:ss.zzz")).toStdString() +
         zone;
}

std::string JsonNumber(double value) {
  const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
  return array.mid(1, array.size() - 2).toStdString();
}

std::string JsonLine(const QJsonObject& object) {
  return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() + '\n';
}

}  // namespace dam
