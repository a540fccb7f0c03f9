// An item's line body in the configuration text: fields joined by tabs, without any
// escaping, read by position.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace config {

class ItemFields {
 public:
  explicit ItemFields(const std::string& body);
  // The field at a 0-based position; "" when the body lacks it.
  std::string Text(size_t position) const;
  // The field read as a number (ReadNumber); 0 when missing.
  int32_t Number(size_t position) const;

 private:
  std::vector<std::string> fields_;
};

}  // namespace config
