// The local spool's file: an SQLite database next to the host's other data, holding
// subgroups that could not reach the SPC database yet, each whole (names, descriptors,
// readings) with the key it is forwarded under. Every change is committed with
// synchronous=FULL, so a subgroup the host reported saved survives a crash or power loss.
// The file is made owner-only, as the SPC database file is.
//
// A forwarded subgroup is only marked at first: the mark changes one row in place and the
// rollback journal kept from earlier writes (journal_mode=PERSIST) has room for it, so it
// succeeds on a full disk, where deleting the subgroup's rows could not. The marked ones
// are deleted, and their pages given back to the file system (auto_vacuum=INCREMENTAL),
// when there is room again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcFile.h"
#include "platform/spcdb/SpcSubgroupData.h"

namespace platform {

struct SpooledSubgroup {
  // Oldest first: the order of keeping.
  int32_t id = 0;
  std::string key;
  SpcSubgroupData data;
};

// One line of the spool's listing.
struct SpoolEntry {
  int32_t id = 0;
  runtime::Date time;
  int32_t sessionNumber = 0;
  int32_t readings = 0;
  // Why the SPC database refused the subgroup when it was forwarded; "" while it waits.
  std::string refused;
  // The SPC database it is kept for (SpcSpool::DatabaseId); "" when kept by a version that
  // did not say, for whichever database forwards first.
  std::string database;
};

class SpcSpoolFile {
 public:
  // Opens the file at `path`, creating it with its tables when missing.
  explicit SpcSpoolFile(const std::string& path);

  // False once the file was deleted or replaced at its path (see SpcFile).
  bool StillAtItsPath() const { return !file_ || file_->StillAtItsPath(); }
  // Writes everything the file holds into a new file at `path`, which must not exist;
  // nothing is left there on failure.
  void CopyTo(const std::string& path);

  // `database` names the SPC database the subgroup is kept for, one that never holds
  // secrets (SpcSpool::DatabaseId). The functions that take a `database` read only its
  // subgroups and those kept without one; "" reads them all.
  void Append(const SpcSubgroupData& subgroup, const std::string& key, const std::string& database);
  // The oldest subgroups not refused and not forwarded, oldest first: up to `most`, with no
  // more than `mostReadings` readings in all unless the first alone has more; none when
  // there is none.
  std::vector<SpooledSubgroup> Oldest(const std::string& database, size_t most,
                                      size_t mostReadings);
  // Marks the subgroups forwarded, in one transaction: they are gone from every count and
  // listing.
  void MarkForwarded(const std::vector<int32_t>& ids);
  // Deletes the subgroups marked forwarded and gives their pages back to the file system.
  // Needs room on the disk, unlike the mark.
  void DeleteForwarded();
  // Bytes the pages in use take, forwarded subgroups not yet deleted included.
  int64_t UsedBytes();
  // Keeps the subgroup, set aside with the reason, so that the ones behind it go on.
  void Refuse(int32_t id, const std::string& reason);
  // Puts every refused subgroup back in line.
  void ClearRefusals(const std::string& database);
  // Every subgroup held, refused ones included, forwarded ones not.
  int64_t Count(const std::string& database);
  // The subgroups not refused.
  int64_t Waiting(const std::string& database);
  // Every database's.
  std::vector<SpoolEntry> List();
  // Removes the subgroups collected before `time`; gives how many were held.
  int64_t RemoveBefore(runtime::Date time);
  int64_t CountBefore(runtime::Date time);

 private:
  // Gives the pages no longer used back to the file system (in a spool made with
  // auto_vacuum=INCREMENTAL; older ones keep them for later subgroups).
  void FreePages();
  // Runs `body` in one transaction that takes the write lock at once.
  template <typename Body>
  void Transact(Body&& body);

  OdbcConnection connection_;
  std::optional<SpcFile> file_;
};

}  // namespace platform
