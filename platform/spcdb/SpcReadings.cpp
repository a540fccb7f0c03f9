#include "platform/spcdb/SpcReadings.h"

namespace platform {

SpcReadings::SpcReadings(std::initializer_list<SpcReading> readings) {
  for (const SpcReading& reading : readings) push_back(reading);
}

uint32_t SpcReadings::Number(std::string_view text, uint32_t previous) {
  if (text.empty()) return 0;
  if (texts_[previous] == text) return previous;
  texts_.emplace_back(text);
  return static_cast<uint32_t>(texts_.size() - 1);
}

void SpcReadings::Add(std::string_view testGroup, std::string_view test, int32_t sample,
                      double value, std::string_view serialNumber, std::string_view defect) {
  const Row last = rows_.empty() ? Row{} : rows_.back();
  Row row;
  row.testGroup = Number(testGroup, last.testGroup);
  row.test = Number(test, last.test);
  row.serialNumber = Number(serialNumber, last.serialNumber);
  row.defect = Number(defect, last.defect);
  row.sample = sample;
  row.value = value;
  rows_.push_back(row);
}

void SpcReadings::push_back(const SpcReading& reading) {
  Add(reading.testGroup, reading.test, reading.sample, reading.value, reading.serialNumber,
      reading.defect);
}

void SpcReadings::clear() {
  rows_.clear();
  texts_.resize(1);
}

const SpcReading SpcReadings::operator[](size_t index) const {
  return {TestGroup(index), Test(index),         Sample(index),
          Value(index),     SerialNumber(index), Defect(index)};
}

bool operator==(const SpcReadings& a, const SpcReadings& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i]) return false;
  }
  return true;
}

}  // namespace platform
