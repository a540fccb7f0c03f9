#include "apps/dam/output/JsonOutput.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "platform/utility/OffsetChange.h"

namespace dam {
namespace {

using std::chrono::milliseconds;

std::time_t Seconds(milliseconds time) {
  return static_cast<std::time_t>(std::chrono::floor<std::chrono::seconds>(time).count());
}

// `wall` (since 1970-01-01 00:00 of the wall clock) and its offset, in ISO 8601.
std::string Iso(milliseconds wall, long offset) {
  const std::time_t seconds = Seconds(wall);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  const long minutes = std::labs(offset) / 60;
  char text[128];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03d%c%02ld:%02ld",
                parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min,
                parts.tm_sec, static_cast<int>((wall - std::chrono::seconds(seconds)).count()),
                offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
  return text;
}

}  // namespace

double UnixSeconds(runtime::Date time) {
  const milliseconds wall(runtime::EpochMilliseconds(time));
  return static_cast<double>(
             (wall - std::chrono::seconds(platform::WallClockOffset(Seconds(wall)))).count()) /
         1000.0;
}

std::string IsoTime(runtime::Date time) {
  // The wall clock is written as kept; the zone rules only give its offset.
  const milliseconds wall(runtime::EpochMilliseconds(time));
  return Iso(wall, platform::WallClockOffset(Seconds(wall)));
}

std::string IsoTime(std::chrono::system_clock::time_point instant) {
  const milliseconds utc = std::chrono::floor<milliseconds>(instant.time_since_epoch());
  const long offset = platform::LocalOffset(Seconds(utc));
  return Iso(utc + std::chrono::seconds(offset), offset);
}

std::string JsonNumber(double value) {
  const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
  return array.mid(1, array.size() - 2).toStdString();
}

std::string JsonLine(const QJsonObject& object) {
  return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() + '\n';
}

}  // namespace dam
