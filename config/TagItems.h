// The tag items of a configuration, in order of first reference, keyed by tag name
// without regard to case, with constant-time look-up.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "config/TagItem.h"
#include "runtime/Text.h"

namespace config {

class TagItems {
 public:
  int32_t Count() const { return static_cast<int32_t>(items_.size()); }
  // By 1-based position; outside the list is error 9.
  TagItem& Item(int32_t index) const;
  // By key; a missing key is error 5.
  TagItem& Item(std::string_view key) const;
  // nullptr when missing.
  TagItem* Find(std::string_view key) const;
  // Adds under `key`; a key already present is error runtime::kKeyAlreadyInCollection.
  void Add(std::shared_ptr<TagItem> item, const std::string& key);

  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }

 private:
  std::vector<std::shared_ptr<TagItem>> items_;
  std::unordered_map<std::string, TagItem*, runtime::NoCaseHash, runtime::NoCaseEqual> byKey_;
};

}  // namespace config
