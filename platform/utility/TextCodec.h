// The host's transform of a stored configuration text. An encoded text is one line:
// "~" + base64 of the text's bytes + "~" + a CRC-32 of key and text in 8 hex digits, so
// any byte string survives the round trip, and a text that is not an encoding under the
// same key is refused with a clear error instead of decoding to garbage.
#pragma once

#include "host/HostTextCodec.h"

namespace platform {

class TextCodec : public host::HostTextCodec {
 public:
  std::string DecodeText(const std::string& key, const std::string& text) const override;
  std::string EncodeText(const std::string& key, const std::string& text) const override;
};

}  // namespace platform
