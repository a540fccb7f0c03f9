#include "config/TestItem.h"

#include "config/ItemFields.h"
#include "config/ResolvedList.h"

namespace config {

std::string TestItem::ResolvedGroup(int32_t index) const {
  const Resolved* resolved = ExistingAt(resolved_, index);
  return resolved ? resolved->group : "";
}

void TestItem::SetResolvedGroup(int32_t index, std::string group) {
  ResolvedAt(index).group = std::move(group);
}

std::string TestItem::ResolvedItem(int32_t index) const {
  const Resolved* resolved = ExistingAt(resolved_, index);
  return resolved ? resolved->item : "";
}

void TestItem::SetResolvedItem(int32_t index, std::string item) {
  ResolvedAt(index).item = std::move(item);
}

std::string TestItem::ResolvedValue(int32_t index) const {
  const Resolved* resolved = ExistingAt(resolved_, index);
  return resolved ? resolved->value : "";
}

void TestItem::SetResolvedValue(int32_t index, std::string value) {
  ResolvedAt(index).value = std::move(value);
}

std::string TestItem::ResolvedDefect(int32_t index) const {
  const Resolved* resolved = ExistingAt(resolved_, index);
  return resolved ? resolved->defect : "";
}

void TestItem::SetResolvedDefect(int32_t index, std::string defect) {
  ResolvedAt(index).defect = std::move(defect);
}

TestItem::Resolved& TestItem::ResolvedAt(int32_t index) {
  return GrownTo(resolved_, index);
}

std::string TestItem::GetData() const {
  return group_ + '\t' + item_ + '\t' + value_ + '\t' + defect_;
}

void TestItem::SetData(const std::string& body) {
  const ItemFields fields(body);
  TestItem read;
  read.group_ = fields.Text(0);
  read.item_ = fields.Text(1);
  read.value_ = fields.Text(2);
  read.defect_ = fields.Text(3);
  *this = std::move(read);
}

}  // namespace config
