// Any byte string survives EncodeText then DecodeText, the encoding is one line, and
// decoding arbitrary bytes either fails cleanly or gives text that encodes back to them.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/utility/TextCodec.h"
#include "runtime/Error.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  platform::TextCodec codec;
  const std::string encoded = codec.EncodeText("QZ", text);
  if (encoded.find_first_of("\r\n") != std::string::npos) abort();
  if (codec.DecodeText("QZ", encoded) != text) abort();
  try {
    const std::string decoded = codec.DecodeText("QZ", text);
    if (codec.EncodeText("QZ", decoded) != text) abort();
  } catch (const runtime::Error&) {
  }
  return 0;
}
