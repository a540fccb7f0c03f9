// A settings file in Windows profile syntax: "[section]" lines and "key=value" lines.
// Sections and keys compare without regard to case.
#pragma once

#include <cstdint>
#include <string>

namespace host {

class SettingsFile {
 public:
  virtual ~SettingsFile() = default;
  // The value's text, or `fallback` when the file, section or key is missing.
  virtual std::string ReadString(const std::string& section, const std::string& key,
                                 const std::string& fallback) const = 0;
  // The value's leading whole number, or `fallback` when missing or not a number.
  virtual int32_t ReadInteger(const std::string& section, const std::string& key,
                              int32_t fallback) const = 0;
  // Sets one key, creating the file, section or key as needed and keeping the rest of
  // the file as it was. Failing to write is an error.
  virtual void WriteString(const std::string& section, const std::string& key,
                           const std::string& value) = 0;
};

}  // namespace host
