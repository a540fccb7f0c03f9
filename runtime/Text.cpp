#include "runtime/Text.h"

#include <algorithm>
#include <cstdint>

namespace runtime {
namespace {

char FoldCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::string_view TrimSpaces(std::string_view text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string ToUpper(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return out;
}

std::string ToLower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), FoldCase);
  return out;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return FoldCase(x) == FoldCase(y); });
}

std::vector<std::string> Split(std::string_view text, std::string_view separator) {
  std::vector<std::string> pieces;
  if (separator.empty()) return {std::string(text)};
  size_t start = 0;
  for (size_t at; (at = text.find(separator, start)) != std::string_view::npos;
       start = at + separator.size()) {
    pieces.emplace_back(text.substr(start, at - start));
  }
  pieces.emplace_back(text.substr(start));
  return pieces;
}

std::string Join(const std::vector<std::string>& pieces, std::string_view separator) {
  std::string out;
  for (size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0) out += separator;
    out += pieces[i];
  }
  return out;
}

std::string ReplaceNoCase(std::string_view text, std::string_view find, std::string_view with) {
  if (find.empty()) return std::string(text);
  std::string out;
  size_t i = 0;
  while (i < text.size()) {
    if (text.size() - i >= find.size() && EqualsNoCase(text.substr(i, find.size()), find)) {
      out += with;
      i += find.size();
    } else {
      out += text[i++];
    }
  }
  return out;
}

size_t NoCaseHash::operator()(std::string_view text) const {
  // FNV-1a over the folded bytes, so keys equal without regard to case hash alike.
  uint64_t hash = 14695981039346656037ULL;
  for (char c : text) {
    hash ^= static_cast<unsigned char>(FoldCase(c));
    hash *= 1099511628211ULL;
  }
  return static_cast<size_t>(hash);
}

}  // namespace runtime
