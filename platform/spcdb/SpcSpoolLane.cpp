#include "platform/spcdb/SpcSpoolLane.h"

#include <filesystem>
#include <map>
#include <utility>

namespace platform {

std::shared_ptr<SpcSpoolLane> SpcSpoolLaneOf(const std::string& path, const std::string& database) {
  static std::mutex mutex;
  // Weak: a lane goes with its last spool.
  static std::map<std::pair<std::string, std::string>, std::weak_ptr<SpcSpoolLane>> lanes;
  // One file by whichever path it was named.
  std::error_code failed;
  std::string file = std::filesystem::weakly_canonical(path, failed).string();
  if (failed) file = path;
  std::lock_guard lock(mutex);
  std::erase_if(lanes, [](const auto& entry) { return entry.second.expired(); });
  std::weak_ptr<SpcSpoolLane>& entry = lanes[{file, database}];
  std::shared_ptr<SpcSpoolLane> lane = entry.lock();
  if (!lane) {
    lane = std::make_shared<SpcSpoolLane>();
    entry = lane;
  }
  return lane;
}

}  // namespace platform
