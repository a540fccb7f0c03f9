#include "apps/dam/ConfigFile.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/PrivateFiles.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace dam {

std::string ReadConfigurationFile(const std::string& path, bool raw) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::error_code error;
    throw runtime::Error(runtime::kFileNotFound, std::filesystem::exists(path, error)
                                                     ? "cannot read the configuration file " + path
                                                     : "there is no configuration file " + path);
  }
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

void WriteConfigurationFile(const std::string& path, const std::string& text) {
  const std::string content = runtime::Join(runtime::Split(text, "\r\n"), "\n") + "\n";
  std::error_code error;
  if (std::filesystem::exists(path, error)) {
    std::filesystem::copy_file(path, path + ".bak",
                               std::filesystem::copy_options::overwrite_existing, error);
    if (error) {
      throw runtime::Error(runtime::kPathFileAccessError,
                           "Cannot keep " + path + " as " + path + ".bak: " + error.message());
    }
  }
  error = host::ReplaceFile(path, content);
  if (error) {
    throw runtime::Error(runtime::kPathFileAccessError,
                         "Cannot write the configuration " + path + ": " + error.message());
  }
}

}  // namespace dam
