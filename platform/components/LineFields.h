// What a line this thread writes to stdout or stderr is about, for a log that keeps fields
// beside the text (the systemd journal, apps/dam/host/JournalLines.h). Whoever writes a line
// about an error, a collection or a configuration says so with a LineNote around the write;
// the innermost note's value counts, and nothing changes for output that is plain text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/Date.h"

namespace platform {

// Syslog priorities, by weight.
enum LinePriority : int { kLineError = 3, kLineWarning = 4, kLineNotice = 5, kLineInfo = 6 };

struct LineFields {
  std::string configuration{};
  std::optional<int32_t> errorNumber{};
  std::string sqlState{};
  std::optional<runtime::Date> collectionTime{};
  // None: the stream's own (stderr an error, stdout information).
  std::optional<int> priority{};
};

// The fields of the notes alive on this thread.
const LineFields& ThisThreadsLineFields();

class LineNote {
 public:
  // Adds what `fields` gives (non-empty) to this thread's fields until destroyed.
  explicit LineNote(const LineFields& fields);
  ~LineNote();
  LineNote(const LineNote&) = delete;
  LineNote& operator=(const LineNote&) = delete;

 private:
  LineFields before_;
};

}  // namespace platform
