#include "config/DescriptorItem.h"

#include "common/DescriptorType.h"
#include "config/ItemFields.h"
#include "config/ResolvedList.h"

namespace config {

std::string DescriptorItem::Group() const {
  return common::IsGroupless(descriptorType_) ? "" : group_;
}

std::string DescriptorItem::ResolvedGroup(int32_t index) const {
  const Resolved* resolved = ExistingAt(resolved_, index);
  return resolved && !common::IsGroupless(descriptorType_) ? resolved->group : "";
}

void DescriptorItem::SetResolvedGroup(int32_t index, std::string group) {
  ResolvedAt(index).group = std::move(group);
}

std::string DescriptorItem::ResolvedItem(int32_t index) const {
  const Resolved* resolved = ExistingAt(resolved_, index);
  return resolved ? resolved->item : "";
}

void DescriptorItem::SetResolvedItem(int32_t index, std::string item) {
  ResolvedAt(index).item = std::move(item);
}

DescriptorItem::Resolved& DescriptorItem::ResolvedAt(int32_t index) {
  return GrownTo(resolved_, index);
}

std::string DescriptorItem::GetData() const {
  return std::to_string(descriptorType_) + '\t' + group_ + '\t' + item_;
}

void DescriptorItem::SetData(const std::string& body) {
  const ItemFields fields(body);
  DescriptorItem read;
  read.descriptorType_ = fields.Number(kTypeField);
  read.group_ = fields.Text(kGroupField);
  read.item_ = fields.Text(kItemField);
  *this = std::move(read);
}

}  // namespace config
