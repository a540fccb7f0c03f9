#include "apps/shared/TerminalText.h"

#include <unicode/utf8.h>

#include <cstdint>
#include <cstdio>

namespace apps {
namespace {

void AppendEscape(std::string& shown, const char* format, unsigned value) {
  char text[8];
  std::snprintf(text, sizeof text, format, value);
  shown += text;
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const int64_t length = static_cast<int64_t>(text.size());
  for (int64_t i = 0; i < length;) {
    const int64_t start = i;
    UChar32 c = 0;
    U8_NEXT(bytes, i, length, c);
    if (c < 0) {
      for (int64_t at = start; at < i; ++at) AppendEscape(shown, "\\x%02X", bytes[at]);
    } else if ((c < 0x20 && c != '\t' && c != '\n') || c == 0x7F) {
      AppendEscape(shown, "\\x%02X", static_cast<unsigned>(c));
    } else if (c >= 0x80 && c < 0xA0) {
      AppendEscape(shown, "\\u%04X", static_cast<unsigned>(c));
    } else {
      shown.append(text.substr(start, i - start));
    }
  }
  return shown;
}

}  // namespace apps
