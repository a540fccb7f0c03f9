// host::SettingsFile on one file in Windows profile syntax: "[section]" lines,
// "key=value" lines and ';' comment lines, names and values trimmed of blanks, sections
// and keys compared without regard to case. Writing rewrites the file through a temporary
// file, keeping every other line, the line order and the file's line ending and mode (CR LF
// and owner-only for a new file). A missing file reads as empty; one that is there but cannot
// be read (no permission, a folder, a FIFO) is error 75 for reads and writes alike.
#pragma once

#include <cstdint>
#include <string>

#include "host/SettingsFile.h"

namespace platform {

class ProfileFile : public host::SettingsFile {
 public:
  explicit ProfileFile(std::string path);

  std::string ReadString(const std::string& section, const std::string& key,
                         const std::string& fallback) const override;
  // Leading blanks, an optional sign and digits ("12abc" reads as 12); `fallback` when
  // there are no digits or the number does not fit in 32 bits.
  int32_t ReadInteger(const std::string& section, const std::string& key,
                      int32_t fallback) const override;
  // The key's line is replaced where it stands, or added after the last line of its
  // section, or with a new section at the end of the file. A name or value that would
  // break the syntax is error 5; failing to write is error 75.
  void WriteString(const std::string& section, const std::string& key,
                   const std::string& value) override;

 private:
  std::string path_;
};

}  // namespace platform
