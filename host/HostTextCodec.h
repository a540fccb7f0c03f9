// The transform the host applies to a driver's stored configuration text. DecodeText
// undoes EncodeText for the same key; an encoded text is one line.
#pragma once

#include <string>

namespace host {

// The key a driver's configuration text is encoded with, on the way to Load and back from
// GetConfiguration.
inline constexpr char kConfigurationCodecKey[] = "QZ";

class HostTextCodec {
 public:
  virtual ~HostTextCodec() = default;
  virtual std::string DecodeText(const std::string& key, const std::string& text) const = 0;
  virtual std::string EncodeText(const std::string& key, const std::string& text) const = 0;
};

}  // namespace host
