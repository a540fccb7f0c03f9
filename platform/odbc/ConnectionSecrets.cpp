#include "platform/odbc/ConnectionSecrets.h"

#include <functional>

#include "runtime/Text.h"

namespace platform {
namespace {

constexpr std::string_view kMask = "***";

bool EndsWithNoCase(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() &&
         runtime::EqualsNoCase(text.substr(text.size() - suffix.size()), suffix);
}

bool IsPasswordKey(std::string_view key) {
  key = runtime::TrimSpaces(key);
  return EndsWithNoCase(key, "pwd") || EndsWithNoCase(key, "password");
}

// Calls `visit` with each "key=value" pair's key and the span of its value: from after
// the '=' to the ';' that ends the pair (or the end). A braced value ("{a;b}}c}") is one
// value; an unclosed brace runs to the end, so that nothing after it shows.
void ForEachPair(std::string_view text,
                 const std::function<void(std::string_view key, size_t begin, size_t end)>& visit) {
  size_t position = 0;
  while (position < text.size()) {
    const size_t equals = text.find('=', position);
    const size_t semicolon = text.find(';', position);
    if (equals == std::string_view::npos) return;
    if (semicolon < equals) {
      position = semicolon + 1;
      continue;
    }
    size_t value = equals + 1;
    while (value < text.size() && text[value] == ' ') ++value;
    if (value < text.size() && text[value] == '{') {
      ++value;
      while (value < text.size()) {
        if (text[value] == '}' && !(value + 1 < text.size() && text[value + 1] == '}')) break;
        value += text[value] == '}' ? 2 : 1;
      }
    }
    const size_t end = std::min(text.find(';', value), text.size());
    visit(text.substr(position, equals - position), equals + 1, end);
    position = end + 1;
  }
}

}  // namespace

std::string MaskConnectionSecrets(std::string_view text) {
  std::string masked;
  size_t shown = 0;
  ForEachPair(text, [&](std::string_view key, size_t begin, size_t end) {
    if (!IsPasswordKey(key)) return;
    masked.append(text.substr(shown, begin - shown)).append(kMask);
    shown = end;
  });
  masked.append(text.substr(shown));
  return masked;
}

bool HoldsConnectionSecret(std::string_view text) {
  bool holds = false;
  ForEachPair(text, [&](std::string_view key, size_t begin, size_t end) {
    const std::string_view value = runtime::TrimSpaces(text.substr(begin, end - begin));
    holds |= IsPasswordKey(key) && !value.empty() && value != "{}";
  });
  return holds;
}

}  // namespace platform
