// A subgroup's readings, kept compact: a subgroup of 50,000 characteristics holds 50,000
// readings while it is saved, most of whose texts repeat the reading before them (the test
// group) or are empty (serial number, defect code).
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>

namespace platform {

struct SpcReading {
  std::string testGroup;
  std::string test;
  int32_t sample = 0;
  double value = 0;
  std::string serialNumber;
  std::string defect;
  friend bool operator==(const SpcReading&, const SpcReading&) = default;
};

class SpcReadings {
 public:
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = SpcReading;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = const SpcReading;

    Iterator(const SpcReadings& readings, size_t index) : readings_(&readings), index_(index) {}
    const SpcReading operator*() const { return (*readings_)[index_]; }
    Iterator& operator++() {
      ++index_;
      return *this;
    }
    friend bool operator==(const Iterator&, const Iterator&) = default;

   private:
    const SpcReadings* readings_;
    size_t index_;
  };

  SpcReadings() = default;
  SpcReadings(std::initializer_list<SpcReading> readings);

  void Add(std::string_view testGroup, std::string_view test, int32_t sample, double value,
           std::string_view serialNumber, std::string_view defect);
  void push_back(const SpcReading& reading);
  void clear();

  size_t size() const { return rows_.size(); }
  bool empty() const { return rows_.empty(); }
  // The reading as a whole; its texts are copied out.
  const SpcReading operator[](size_t index) const;
  const std::string& TestGroup(size_t index) const { return texts_[rows_[index].testGroup]; }
  const std::string& Test(size_t index) const { return texts_[rows_[index].test]; }
  int32_t Sample(size_t index) const { return rows_[index].sample; }
  double Value(size_t index) const { return rows_[index].value; }
  const std::string& SerialNumber(size_t index) const { return texts_[rows_[index].serialNumber]; }
  const std::string& Defect(size_t index) const { return texts_[rows_[index].defect]; }

  Iterator begin() const { return Iterator(*this, 0); }
  Iterator end() const { return Iterator(*this, size()); }

  friend bool operator==(const SpcReadings& a, const SpcReadings& b);

 private:
  // Texts are numbered in texts_; 0 is the empty text.
  struct Row {
    uint32_t testGroup, test, serialNumber, defect;
    int32_t sample;
    double value;
  };

  uint32_t Number(std::string_view text, uint32_t previous);

  std::deque<Row> rows_;
  std::deque<std::string> texts_{std::string()};
};

}  // namespace platform
