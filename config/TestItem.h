// One characteristic ("test") definition: group, item, value and defect templates, and the
// values the engine resolved from them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace config {

class TestItem {
 public:
  const std::string& Group() const { return group_; }
  void SetGroup(std::string group) { group_ = std::move(group); }
  const std::string& Item() const { return item_; }
  void SetItem(std::string item) { item_ = std::move(item); }
  const std::string& Value() const { return value_; }
  void SetValue(std::string value) { value_ = std::move(value); }
  const std::string& Defect() const { return defect_; }
  void SetDefect(std::string defect) { defect_ = std::move(defect); }

  // Resolved values by 1-based sample index, as DescriptorItem's; empty outside the list.
  const std::string& ResolvedGroup(int32_t index) const;
  void SetResolvedGroup(int32_t index, std::string group);
  const std::string& ResolvedItem(int32_t index) const;
  void SetResolvedItem(int32_t index, std::string item);
  const std::string& ResolvedValue(int32_t index) const;
  void SetResolvedValue(int32_t index, std::string value);
  const std::string& ResolvedDefect(int32_t index) const;
  void SetResolvedDefect(int32_t index, std::string defect);
  void ClearResolvedValues() { resolved_.clear(); }

  // The line body: group, item, value and defect joined by tabs.
  enum Field : size_t { kGroupField, kItemField, kValueField, kDefectField };
  std::string GetData() const;
  void SetData(const std::string& body);

 private:
  struct Resolved {
    std::string group, item, value, defect;
  };
  Resolved& ResolvedAt(int32_t index);

  std::string group_, item_, value_, defect_;
  std::vector<Resolved> resolved_;
};

}  // namespace config
