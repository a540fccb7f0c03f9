#include "host/FileKind.h"

#include <sys/stat.h>

namespace host {

std::string FileKind(mode_t mode) {
  if (S_ISDIR(mode)) return "a folder";
  if (S_ISFIFO(mode)) return "a FIFO";
  if (S_ISCHR(mode) || S_ISBLK(mode)) return "a device";
  if (S_ISSOCK(mode)) return "a socket";
  return "no regular file";
}

}  // namespace host
