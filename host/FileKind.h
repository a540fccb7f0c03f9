// How messages name what a path holds where a regular file was wanted.
#pragma once

#include <sys/types.h>

#include <string>

namespace host {

// "a folder", "a FIFO", "a device", "a socket", or "no regular file".
std::string FileKind(mode_t mode);

}  // namespace host
