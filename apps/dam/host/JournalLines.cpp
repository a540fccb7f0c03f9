#include "apps/dam/host/JournalLines.h"

#include <sys/stat.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "apps/dam/output/JsonOutput.h"

namespace dam {

bool IsJournalStream(int fd) {
  const char* named = std::getenv("JOURNAL_STREAM");
  unsigned long long device = 0;
  unsigned long long inode = 0;
  char rest = 0;
  if (named == nullptr || std::sscanf(named, "%llu:%llu%c", &device, &inode, &rest) != 2) {
    return false;
  }
  struct stat status {};
  return fstat(fd, &status) == 0 && status.st_dev == device && status.st_ino == inode;
}

namespace {

int Priority(const std::string& message, const platform::LineFields& fields, int priority) {
  if (fields.priority) return *fields.priority;
  return message.find(": warning: ") != std::string::npos ? platform::kLineWarning : priority;
}

// `message` with `fields` as the journal's "FIELD=value" items.
std::vector<std::string> JournalEntry(const std::string& message,
                                      const platform::LineFields& fields, int priority) {
  std::vector<std::string> entry = {
      "MESSAGE=" + message, "PRIORITY=" + std::to_string(Priority(message, fields, priority)),
      "SYSLOG_IDENTIFIER=dam"};
  if (!fields.configuration.empty()) entry.push_back("DAM_CONFIGURATION=" + fields.configuration);
  if (fields.errorNumber) {
    entry.push_back("DAM_ERROR_NUMBER=" + std::to_string(*fields.errorNumber));
  }
  if (!fields.sqlState.empty()) entry.push_back("DAM_SQLSTATE=" + fields.sqlState);
  if (fields.collectionTime) {
    entry.push_back("DAM_COLLECTION_TIME=" + IsoTime(*fields.collectionTime));
  }
  return entry;
}

}  // namespace

JournalBuffer::JournalBuffer(std::streambuf* fallback, int priority, JournalSend send)
    : fallback_(fallback), priority_(priority), send_(send) {}

bool JournalBuffer::Put(char c) {
  if (c != '\n') {
    line_ += c;
    return true;
  }
  const std::string line = std::exchange(line_, {});
  const platform::LineFields& fields = platform::ThisThreadsLineFields();
  const std::vector<std::string> entry = JournalEntry(line, fields, priority_);
  std::vector<iovec> items;
  for (const std::string& item : entry) {
    items.push_back({const_cast<char*>(item.data()), item.size()});
  }
  if (send_ && send_(items.data(), static_cast<int>(items.size())) >= 0) return true;
  const std::string prefixed =
      "<" + std::to_string(Priority(line, fields, priority_)) + ">" + line + "\n";
  return fallback_->sputn(prefixed.data(), static_cast<std::streamsize>(prefixed.size())) ==
             static_cast<std::streamsize>(prefixed.size()) &&
         fallback_->pubsync() == 0;
}

JournalBuffer::int_type JournalBuffer::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  std::lock_guard lock(mutex_);
  return Put(traits_type::to_char_type(c)) ? c : traits_type::eof();
}

std::streamsize JournalBuffer::xsputn(const char* text, std::streamsize count) {
  std::lock_guard lock(mutex_);
  std::streamsize written = 0;
  while (written < count && Put(text[written])) ++written;
  return written;
}

void SendLinesToJournal(std::ostream& stream, int fd, int priority) {
  if (!IsJournalStream(fd)) return;
  // libsystemd drops entries without a word where journald has no socket.
  const bool listening = access("/run/systemd/journal/socket", W_OK) == 0;
  // Never freed: the standard streams write through it until the process has ended.
  stream.rdbuf(new JournalBuffer(stream.rdbuf(), priority, listening ? sd_journal_sendv : nullptr));
}

}  // namespace dam
