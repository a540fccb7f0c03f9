// Files that hold data or settings are their owner's alone: folders are made 0700 and
// files 0600, whatever the umask. What exists already keeps the mode its owner gave it.
#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace host {

// Creates `folder` and every missing folder above it, owner-only.
std::error_code CreatePrivateFolders(const std::string& folder);

// Replaces the file at `path` by one holding `content`: a temporary file beside it is
// written and synced, renamed over it, and the folder synced, so that readers, and the file
// system after a power cut, see the old content or the new, never a part or an empty file.
// A new file is owner-only; a file that was there keeps its mode, owner and group, and a
// symbolic link keeps pointing to it: the file it points to is replaced. Where the owner and
// group cannot be given to the new file (a user who may write the file but not give it
// away), the file is written over in place instead: a reader may then see it part written.
// A read-only file (CheckWritable) is refused. The one way this system replaces a file.
// Nothing changes on failure, except when only the final sync of the folder fails, or
// writing in place fails: the error is returned, and the file may hold the new content.
std::error_code ReplaceFile(const std::string& path, std::string_view content);

// Whether the file at `path` may be written: an error saying "the file is read-only" when its
// mode has no write permission or this user may not write it; no error when it is missing.
std::error_code CheckWritable(const std::string& path);

// The error of CheckWritable for a read-only file.
std::error_code ReadOnly();

// Reads the regular file at `path` into `content`. A FIFO or a device would block the open
// or the read for good: anything but a regular file is refused without waiting on it (EISDIR
// for a folder, an error saying "not a regular file" otherwise); a missing file is ENOENT. The one
// way this system reads a file of settings or registrations.
std::error_code ReadRegularFile(const std::string& path, std::string& content);

}  // namespace host
