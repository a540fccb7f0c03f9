// Feeds arbitrary text to GetTagArrays and checks what every caller relies on: parallel
// arrays, tokens that are balanced references taken from the text itself.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/TagExpressions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> tokens, names, fields;
  if (!common::GetTagArrays(text, tokens, names, fields)) return 0;
  if (tokens.empty() || tokens.size() != names.size() || tokens.size() != fields.size()) abort();
  for (const std::string& token : tokens) {
    if (token.rfind("%TAG(", 0) != 0 || token.back() != ')') abort();
    if (text.find(token) == std::string::npos) abort();
    int level = 0;
    for (char c : token.substr(4)) level += (c == '(') - (c == ')');
    if (level != 0) abort();
  }
  return 0;
}
