#include "config/TestItem.h"

#include "config/ItemFields.h"
#include "config/ResolvedList.h"

namespace config {
namespace {

const std::string kNothingResolved;

}  // namespace

const std::string& TestItem::ResolvedGroup(int32_t index) const {
  const Resolved* resolved = ExistingAt(resolved_, index);
  return resolved ? resolved->group : kNothingResolved;
}

void TestItem::SetResolvedGroup(int32_t index, std::string group) {
  ResolvedAt(index).group = std::move(group);
}

const std::string& TestItem::ResolvedItem(int32_t index) const {
  const Resolved* resolved = ExistingAt(resolved_, index);
  return resolved ? resolved->item : kNothingResolved;
}

void TestItem::SetResolvedItem(int32_t index, std::string item) {
  ResolvedAt(index).item = std::move(item);
}

const std::string& TestItem::ResolvedValue(int32_t index) const {
  const Resolved* resolved = ExistingAt(resolved_, index);
  return resolved ? resolved->value : kNothingResolved;
}

void TestItem::SetResolvedValue(int32_t index, std::string value) {
  ResolvedAt(index).value = std::move(value);
}

const std::string& TestItem::ResolvedDefect(int32_t index) const {
  const Resolved* resolved = ExistingAt(resolved_, index);
  return resolved ? resolved->defect : kNothingResolved;
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
  read.group_ = fields.Text(kGroupField);
  read.item_ = fields.Text(kItemField);
  read.value_ = fields.Text(kValueField);
  read.defect_ = fields.Text(kDefectField);
  *this = std::move(read);
}

}  // namespace config
