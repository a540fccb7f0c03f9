#include "apps/dam/host/JournalLines.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

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

LinePrefixBuffer::LinePrefixBuffer(std::streambuf* target, std::string prefix)
    : target_(target), prefix_(std::move(prefix)) {}

bool LinePrefixBuffer::Put(char c) {
  if (lineStart_ && target_->sputn(prefix_.data(), static_cast<std::streamsize>(prefix_.size())) !=
                        static_cast<std::streamsize>(prefix_.size())) {
    return false;
  }
  lineStart_ = c == '\n';
  return target_->sputc(c) != traits_type::eof();
}

LinePrefixBuffer::int_type LinePrefixBuffer::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  std::lock_guard lock(mutex_);
  return Put(traits_type::to_char_type(c)) ? c : traits_type::eof();
}

std::streamsize LinePrefixBuffer::xsputn(const char* text, std::streamsize count) {
  std::lock_guard lock(mutex_);
  std::streamsize written = 0;
  while (written < count && Put(text[written])) ++written;
  return written;
}

int LinePrefixBuffer::sync() {
  std::lock_guard lock(mutex_);
  return target_->pubsync();
}

void PrefixJournalLines(std::ostream& stream, int fd, const char* prefix) {
  if (!IsJournalStream(fd)) return;
  // Never freed: the standard streams flush through it until the process has ended.
  stream.rdbuf(new LinePrefixBuffer(stream.rdbuf(), prefix));
}

}  // namespace dam
