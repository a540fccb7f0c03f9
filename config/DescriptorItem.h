// One descriptor definition: its type, group and item templates, and the values the
// engine resolved from them, one pair per sample index.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace config {

class DescriptorItem {
 public:
  // A code of common/DescriptorType.h, or any other number as read.
  int32_t DescriptorType() const { return descriptorType_; }
  void SetDescriptorType(int32_t type) { descriptorType_ = type; }
  // Empty for the groupless types (common::IsGroupless), whatever is stored.
  std::string Group() const;
  void SetGroup(std::string group) { group_ = std::move(group); }
  const std::string& Item() const { return item_; }
  void SetItem(std::string item) { item_ = std::move(item); }

  // Resolved values by 1-based sample index: reading outside the list gives "", writing
  // grows the list to the index.
  std::string ResolvedGroup(int32_t index) const;
  void SetResolvedGroup(int32_t index, std::string group);
  std::string ResolvedItem(int32_t index) const;
  void SetResolvedItem(int32_t index, std::string item);
  void ClearResolvedValues() { resolved_.clear(); }

  // The line body of the configuration text: type, group and item joined by tabs.
  enum Field : size_t { kTypeField, kGroupField, kItemField };
  std::string GetData() const;
  void SetData(const std::string& body);

 private:
  struct Resolved {
    std::string group, item;
  };
  Resolved& ResolvedAt(int32_t index);

  int32_t descriptorType_ = 0;
  std::string group_;
  std::string item_;
  std::vector<Resolved> resolved_;
};

}  // namespace config
