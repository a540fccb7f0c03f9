// A folder of its own under the system's temporary folder, removed with everything in it
// when the object goes.
#pragma once

#include <string>

namespace testsupport {

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& Path() const { return path_; }
  // The path of `name` inside the folder.
  std::string File(const std::string& name) const { return path_ + "/" + name; }
  // Creates the subfolder `name` (if missing) and returns its path.
  std::string Subfolder(const std::string& name) const;

 private:
  std::string path_;
};

}  // namespace testsupport
