#include "config/ItemFields.h"

#include "config/ConfigurationGrammar.h"
#include "runtime/Text.h"

namespace config {

ItemFields::ItemFields(const std::string& body) : fields_(runtime::Split(body, "\t")) {}

std::string ItemFields::Text(size_t position) const {
  return position < fields_.size() ? fields_[position] : "";
}

int32_t ItemFields::Number(size_t position) const {
  return ReadNumber(Text(position));
}

}  // namespace config
