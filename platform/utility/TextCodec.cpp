#include "platform/utility/TextCodec.h"

#include <array>
#include <cstdint>
#include <cstdio>

#include "runtime/Error.h"

namespace platform {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

uint32_t Crc32(const std::string& a, const std::string& b) {
  static const std::array<uint32_t, 256> table = [] {
    std::array<uint32_t, 256> t{};
    for (uint32_t n = 0; n < 256; ++n) {
      uint32_t c = n;
      for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
      t[n] = c;
    }
    return t;
  }();
  uint32_t crc = 0xFFFFFFFFu;
  for (const std::string* s : {&a, &b}) {
    for (unsigned char byte : *s) crc = table[(crc ^ byte) & 0xFF] ^ (crc >> 8);
  }
  return crc ^ 0xFFFFFFFFu;
}

std::string Checksum(const std::string& key, const std::string& text) {
  char hex[9];
  std::snprintf(hex, sizeof hex, "%08x", Crc32(key, text));
  return hex;
}

std::string Base64Encode(const std::string& bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    uint32_t chunk = static_cast<unsigned char>(bytes[i]) << 16;
    if (i + 1 < bytes.size()) chunk |= static_cast<unsigned char>(bytes[i + 1]) << 8;
    if (i + 2 < bytes.size()) chunk |= static_cast<unsigned char>(bytes[i + 2]);
    out += kAlphabet[(chunk >> 18) & 63];
    out += kAlphabet[(chunk >> 12) & 63];
    out += i + 1 < bytes.size() ? kAlphabet[(chunk >> 6) & 63] : '=';
    out += i + 2 < bytes.size() ? kAlphabet[chunk & 63] : '=';
  }
  return out;
}

[[noreturn]] void NotAnEncoding(const std::string& why) {
  throw runtime::Error(runtime::kInvalidProcedureCall,
                       "The configuration text is not an encoded configuration: " + why,
                       "TextCodec.DecodeText");
}

std::string Base64Decode(std::string_view text) {
  if (text.size() % 4 != 0) NotAnEncoding("its length is wrong");
  std::string out;
  out.reserve(text.size() / 4 * 3);
  for (size_t i = 0; i < text.size(); i += 4) {
    uint32_t chunk = 0;
    int padding = 0;
    for (size_t k = 0; k < 4; ++k) {
      char c = text[i + k];
      const char* at = c == '\0' ? nullptr : std::char_traits<char>::find(kAlphabet, 64, c);
      bool pad = c == '=' && i + 4 == text.size() && k >= 2;
      if (pad) {
        ++padding;
      } else if (at == nullptr || padding > 0) {
        NotAnEncoding("it holds characters that cannot occur in one");
      }
      chunk = (chunk << 6) | (pad ? 0 : static_cast<uint32_t>(at - kAlphabet));
    }
    out += static_cast<char>((chunk >> 16) & 0xFF);
    if (padding < 2) out += static_cast<char>((chunk >> 8) & 0xFF);
    if (padding < 1) out += static_cast<char>(chunk & 0xFF);
  }
  return out;
}

}  // namespace

std::string TextCodec::EncodeText(const std::string& key, const std::string& text) const {
  return "~" + Base64Encode(text) + "~" + Checksum(key, text);
}

std::string TextCodec::DecodeText(const std::string& key, const std::string& text) const {
  const size_t last = text.rfind('~');
  if (text.empty() || text.front() != '~' || last == 0 || text.size() - last != 9) {
    NotAnEncoding("it lacks the markers of one");
  }
  const std::string_view payload = std::string_view(text).substr(1, last - 1);
  std::string decoded = Base64Decode(payload);
  if (Base64Encode(decoded) != payload) NotAnEncoding("it is not in the form this host writes");
  if (Checksum(key, decoded) != text.substr(last + 1)) {
    NotAnEncoding("its checksum does not match (damaged, or encoded with another key)");
  }
  return decoded;
}

}  // namespace platform
