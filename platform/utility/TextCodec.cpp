#include "platform/utility/TextCodec.h"

#include <zlib.h>

#include <QByteArray>
#include <cstdio>
#include <string_view>

#include "runtime/Error.h"

namespace platform {
namespace {

// CRC-32 of the key followed by the text, as eight lower-case hex digits.
std::string Checksum(const std::string& key, const std::string& text) {
  uLong crc = crc32(0L, Z_NULL, 0);
  for (const std::string* s : {&key, &text}) {
    crc = crc32(crc, reinterpret_cast<const Bytef*>(s->data()), static_cast<uInt>(s->size()));
  }
  char hex[9];
  std::snprintf(hex, sizeof hex, "%08lx", crc);
  return hex;
}

std::string Base64Encode(const std::string& bytes) {
  return QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()))
      .toBase64()
      .toStdString();
}

[[noreturn]] void NotAnEncoding(const std::string& why) {
  throw runtime::Error(runtime::kInvalidProcedureCall,
                       "The configuration text is not an encoded configuration: " + why,
                       "TextCodec.DecodeText");
}

std::string Base64Decode(std::string_view text) {
  if (text.size() % 4 != 0) NotAnEncoding("its length is wrong");
  const QByteArray::FromBase64Result decoded =
      QByteArray::fromBase64Encoding(QByteArray(text.data(), static_cast<qsizetype>(text.size())),
                                     QByteArray::AbortOnBase64DecodingErrors);
  if (!decoded) NotAnEncoding("it holds characters that cannot occur in one");
  return decoded.decoded.toStdString();
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
