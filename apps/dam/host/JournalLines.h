// Lines for the systemd journal. A stream is the journal's when $JOURNAL_STREAM names its
// device and inode, which systemd sets for a service whose output it connects to the
// journal. Such a stream's lines go to the journal through libsystemd instead, each as one
// entry with its priority and the fields of the line (platform/components/LineFields.h):
//   MESSAGE, PRIORITY (3 error, 4 warning, 5 notice, 6 info), SYSLOG_IDENTIFIER=dam,
//   DAM_CONFIGURATION, DAM_ERROR_NUMBER, DAM_SQLSTATE, DAM_COLLECTION_TIME (ISO 8601).
// A line the journal does not take, or every line where journald has no socket, is written
// to the stream as before, "<N>" and the text, which the journal reads as the line's
// priority. Output to a terminal, a file or a pipe
// (to jq, say) is left as it is.
#pragma once

#include <sys/uio.h>

#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "platform/components/LineFields.h"

namespace dam {

// True when the file descriptor `fd` is the stream $JOURNAL_STREAM ("device:inode") names.
bool IsJournalStream(int fd);

// Sends one journal entry of `count` "FIELD=value" items: 0, or a negative errno.
using JournalSend = int (*)(const struct iovec* fields, int count);

// A stream buffer that sends every complete line to the journal, with the fields of the
// thread that ends the line; a line the journal refuses goes to `fallback` as "<N>text".
// A line whose fields give no priority and that holds a program's "NAME: warning: " text
// is a warning.
class JournalBuffer : public std::streambuf {
 public:
  // `priority`: of a line whose fields give none. Without `send`, every line goes to
  // `fallback`.
  JournalBuffer(std::streambuf* fallback, int priority, JournalSend send);

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* text, std::streamsize count) override;

 private:
  bool Put(char c);

  std::streambuf* fallback_;
  int priority_;
  JournalSend send_;
  std::string line_;
  // Threads of the host (the spool's forwarder) write to stderr too.
  std::mutex mutex_;
};

// For the rest of the process, lines written to `stream` go to the journal when `fd` is the
// journal's stream; otherwise nothing changes.
void SendLinesToJournal(std::ostream& stream, int fd, int priority);

}  // namespace dam
