// Files that hold data or settings are their owner's alone: folders are made 0700 and
// files 0600, whatever the umask. What exists already keeps the mode its owner gave it.
#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace host {

// Creates `folder` and every missing folder above it, owner-only.
std::error_code CreatePrivateFolders(const std::string& folder);

// Replaces the file at `path` by one holding `content`, through a temporary file beside it
// renamed over it, so that readers see the old content or the new, never a part. A new
// file is owner-only; a file that was there keeps its mode. Nothing changes on failure.
std::error_code ReplaceFile(const std::string& path, std::string_view content);

}  // namespace host
