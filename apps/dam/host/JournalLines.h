// Lines for the systemd journal. The journal reads a "<N>" at the start of a line as its
// syslog priority; a stream is the journal's when $JOURNAL_STREAM names its device and
// inode, which systemd sets for a service whose output it connects to the journal. Output
// to a terminal, a file or a pipe (to jq, say) is left as it is.
#pragma once

#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>

namespace dam {

// True when the file descriptor `fd` is the stream $JOURNAL_STREAM ("device:inode") names.
bool IsJournalStream(int fd);

// A stream buffer that writes `prefix` before every line it passes on to `target`.
class LinePrefixBuffer : public std::streambuf {
 public:
  LinePrefixBuffer(std::streambuf* target, std::string prefix);

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* text, std::streamsize count) override;
  int sync() override;

 private:
  bool Put(char c);

  std::streambuf* target_;
  std::string prefix_;
  bool lineStart_ = true;
  // Threads of the host (the spool's forwarder) write to stderr too.
  std::mutex mutex_;
};

// For the rest of the process, every line written to `stream` starts with `prefix` when
// `fd` is the journal's stream; otherwise nothing changes.
void PrefixJournalLines(std::ostream& stream, int fd, const char* prefix);

}  // namespace dam
