#include "apps/dam/ConfigFile.h"

#include <fstream>
#include <sstream>

#include "runtime/Error.h"

namespace dam {

std::string ReadConfigurationFile(const std::string& path, bool raw) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw runtime::Error(runtime::kFileNotFound, "Cannot read the configuration " + path);
  std::stringstream bytes;
  bytes << in.rdbuf();
  std::string text = bytes.str();
  if (raw) return text;

  std::string normalised;
  normalised.reserve(text.size() + text.size() / 16);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    if (text[i] == '\n') normalised += '\r';
    normalised += text[i];
  }
  while (normalised.ends_with("\r\n")) normalised.resize(normalised.size() - 2);
  return normalised;
}

}  // namespace dam
