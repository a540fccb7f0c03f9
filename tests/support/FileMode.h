// The permission bits of a file or folder, for tests of who may read what the system writes.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

namespace testsupport {

inline unsigned FileMode(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

}  // namespace testsupport
