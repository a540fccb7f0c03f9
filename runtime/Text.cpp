#include "runtime/Text.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <optional>

namespace runtime {
namespace {

char FoldAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string FoldAsciiText(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), FoldAscii);
  return out;
}

// Simple folding maps one code point to one, so the folded text is never longer than
// four bytes a code point; nullopt for text that is not UTF-8.
std::optional<std::string> FoldUtf8(std::string_view text) {
  std::string out(text.size() + 4, '\0');
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const int32_t length = static_cast<int32_t>(text.size());
  size_t written = 0;
  for (int32_t i = 0; i < length;) {
    UChar32 c = 0;
    U8_NEXT(bytes, i, length, c);
    if (c < 0) return std::nullopt;
    if (out.size() - written < 4) out.resize(out.size() * 2);
    U8_APPEND_UNSAFE(reinterpret_cast<uint8_t*>(out.data()), written,
                     u_foldCase(c, U_FOLD_CASE_DEFAULT));
  }
  out.resize(written);
  return out;
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
  return FoldAsciiText(text);
}

std::string FoldCase(std::string_view text) {
  if (IsAscii(text)) return FoldAsciiText(text);
  if (std::optional<std::string> folded = FoldUtf8(text)) return *std::move(folded);
  return FoldAsciiText(text);
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (IsAscii(a) && IsAscii(b)) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return FoldAscii(x) == FoldAscii(y); });
  }
  return FoldCase(a) == FoldCase(b);
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
  if (IsAscii(text) && IsAscii(find)) {
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
  const std::string needle = FoldCase(find);
  while (i < text.size()) {
    // A match may span a different number of bytes than `find` ("K" and the Kelvin sign):
    // try each end where a code point ends and whose folding can still equal the needle.
    size_t matched = 0;
    for (size_t end = i + 1; end <= text.size(); ++end) {
      if (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) continue;
      const std::string folded = FoldCase(text.substr(i, end - i));
      if (folded == needle) {
        matched = end - i;
        break;
      }
      if (folded.size() > needle.size() || needle.compare(0, folded.size(), folded) != 0) break;
    }
    if (matched > 0) {
      out += with;
      i += matched;
    } else {
      out += text[i++];
    }
  }
  return out;
}

size_t NoCaseHash::operator()(std::string_view text) const {
  // Over the folded bytes, so keys equal without regard to case hash alike.
  Fnv1a hash;
  if (IsAscii(text)) {
    for (char c : text) hash.Add(static_cast<unsigned char>(FoldAscii(c)));
  } else {
    hash.Add(FoldCase(text));
  }
  return static_cast<size_t>(hash.Value());
}

}  // namespace runtime
