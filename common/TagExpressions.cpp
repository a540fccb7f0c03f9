#include "common/TagExpressions.h"

#include <string_view>

#include "runtime/Text.h"

namespace common {
namespace {

constexpr std::string_view kMarker = "%TAG(";

// Length of the piece up to and including the ")" that balances the marker's "(", or 0.
size_t BalancedLength(std::string_view piece) {
  int level = 1;
  for (size_t j = 0; j < piece.size(); ++j) {
    if (piece[j] == ')') --level;
    if (piece[j] == '(') ++level;
    if (level == 0) return j + 1;
  }
  return 0;
}

// The pieces of the trimmed text that follow a marker, each up to the next marker, in order.
std::vector<std::string_view> MarkedPieces(std::string_view text) {
  text = runtime::TrimSpaces(text);
  std::vector<std::string_view> pieces;
  for (size_t at = text.find(kMarker); at != std::string_view::npos;) {
    const size_t start = at + kMarker.size();
    at = text.find(kMarker, start);
    pieces.push_back(text.substr(start, at == std::string_view::npos ? at : at - start));
  }
  return pieces;
}

}  // namespace

bool GetTagArrays(const std::string& text, std::vector<std::string>& tokens,
                  std::vector<std::string>& tagNames, std::vector<std::string>& fields) {
  try {
    std::vector<std::string> foundTokens, foundNames, foundFields;
    for (const std::string_view piece : MarkedPieces(text)) {
      size_t length = BalancedLength(piece);
      if (length == 0) continue;
      std::string_view body = piece.substr(0, length - 1);
      foundTokens.push_back(std::string(kMarker) + std::string(piece.substr(0, length)));
      size_t comma = body.find(',');
      if (comma == std::string_view::npos) {
        foundFields.emplace_back("Value");
        foundNames.emplace_back(runtime::TrimSpaces(body));
      } else {
        foundFields.emplace_back(runtime::TrimSpaces(body.substr(0, comma)));
        foundNames.emplace_back(runtime::TrimSpaces(body.substr(comma + 1)));
      }
    }
    if (foundTokens.empty()) return false;
    tokens = std::move(foundTokens);
    tagNames = std::move(foundNames);
    fields = std::move(foundFields);
    return true;
  } catch (...) {
    return false;
  }
}

bool HasUnbalancedMarker(const std::string& text) {
  for (const std::string_view piece : MarkedPieces(text)) {
    if (BalancedLength(piece) == 0) return true;
  }
  return false;
}

}  // namespace common
