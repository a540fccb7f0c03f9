#include "config/TagItems.h"

#include "runtime/Error.h"

namespace config {

TagItem& TagItems::Item(int32_t index) const {
  if (index < 1 || index > Count()) throw runtime::Error(runtime::kSubscriptOutOfRange);
  return *items_[index - 1];
}

TagItem& TagItems::Item(std::string_view key) const {
  TagItem* item = Find(key);
  if (!item) throw runtime::Error(runtime::kInvalidProcedureCall);
  return *item;
}

TagItem* TagItems::Find(std::string_view key) const {
  auto found = byKey_.find(key);
  return found == byKey_.end() ? nullptr : found->second;
}

void TagItems::Add(std::shared_ptr<TagItem> item, const std::string& key) {
  if (Find(key)) throw runtime::Error(runtime::kKeyAlreadyInCollection);
  byKey_.emplace(key, item.get());
  items_.push_back(std::move(item));
}

}  // namespace config
