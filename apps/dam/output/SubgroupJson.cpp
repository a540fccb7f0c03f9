#include "apps/dam/output/SubgroupJson.h"

#include <QJsonArray>

#include "apps/dam/output/JsonOutput.h"

namespace dam {
namespace {

QString Text(const std::string& text) {
  return QString::fromStdString(text);
}

QJsonValue Name(const std::optional<platform::SpcName>& name) {
  if (!name) return QJsonValue::Null;
  return QJsonObject{{"group", Text(name->group)}, {"name", Text(name->name)}};
}

QJsonValue Text(const std::optional<std::string>& text) {
  return text ? QJsonValue(Text(*text)) : QJsonValue(QJsonValue::Null);
}

}  // namespace

QJsonObject SubgroupJson(const platform::SpcSubgroupData& subgroup) {
  QJsonArray descriptors, readings;
  for (const platform::SpcName& d : subgroup.descriptors) descriptors.append(Name(d));
  for (const platform::SpcReading& r : subgroup.readings) {
    readings.append(QJsonObject{{"test_group", Text(r.testGroup)},
                                {"test", Text(r.test)},
                                {"sample", r.sample},
                                {"value", r.value},
                                {"serial", Text(r.serialNumber)},
                                {"defect", Text(r.defect)}});
  }
  return QJsonObject{{"schema", kJsonSchema},
                     {"id", static_cast<qint64>(subgroup.id)},
                     {"configuration", Text(subgroup.configuration)},
                     {"time", Text(IsoTime(subgroup.time))},
                     {"size", subgroup.size},
                     {"part", Name(subgroup.part)},
                     {"process", Name(subgroup.process)},
                     {"job", Name(subgroup.job)},
                     {"shift", Name(subgroup.shift)},
                     {"lot", Text(subgroup.lot)},
                     {"user_defined", descriptors},
                     {"readings", readings}};
}

}  // namespace dam
