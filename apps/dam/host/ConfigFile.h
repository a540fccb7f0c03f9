// Configuration text files as users edit them.
#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace dam {

// How a reader waits for a file an editor or a deployment tool may still be writing.
using Pause = std::function<void(std::chrono::milliseconds)>;

// Sleeps on the calling thread.
void Sleep(std::chrono::milliseconds time);

// The file's text as a host stores it: line ends made CR LF, trailing line ends dropped.
// With `raw` the bytes as they are. A file that is not there or cannot be read, that is no
// regular file (a folder, a FIFO, a device) or that is larger than 16 MB is an
// apps::Failure with exit status kExitNoFile naming it, one still being written (below)
// one with kExitFailure; nothing waits on a FIFO or reads a device.
std::string ReadConfigurationFile(const std::string& path, bool raw);

// One file of ReadConfigurationFiles: its text, or why it cannot be read.
struct ConfigurationRead {
  std::string text;
  std::exception_ptr failure;
};

// The texts of `paths` as ReadConfigurationFile gives them, in their order. A file that
// changed while it was read, or within the last quarter second, may be caught half
// written: it is looked at again after one `pause` (one for all of them), and refused when
// it changed meanwhile. A file written earlier is read once, without a pause.
std::vector<ConfigurationRead> ReadConfigurationFiles(const std::vector<std::string>& paths,
                                                      const Pause& pause = Sleep);

// The file's text as ReadConfigurationFile gives it, without waiting on a file being
// written, or none when there is no file: what an editor compares with what it read.
std::optional<std::string> ConfigurationNow(const std::string& path);

// WriteConfigurationFile's refusal to overwrite a file that is no longer as it was read.
class ChangedMeanwhile : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Writes a configuration text (CR LF between lines) as a file users edit: one line per
// line, ending in LF. `read` is the file's text as the editor read it (none: there was no
// file); when the file is not that any more (ConfigurationNow), ChangedMeanwhile is raised
// and nothing is written: an editor overwrites another's change only when told to. The new
// file replaces the old at once and durably (host::ReplaceFile: a link's target, keeping
// mode, owner and group); the old content is kept beside it as `path`.bak, replaced the same
// way. A read-only file is refused ("PATH is read-only"). A failure is an error naming the
// file, or the folder that does not take new files, and leaves the old file as it was.
void WriteConfigurationFile(const std::string& path, const std::string& text,
                            const std::optional<std::string>& read);

}  // namespace dam
