// host::HostFileSystem on the folders of host/Folders.h, the same resolver the driver
// registry uses. Each folder can be redirected by an environment variable (tests and
// services use them):
//
//   log        DAM_LOG_DIR        else $XDG_STATE_HOME/oxaGEPDAD6   (~/.local/state/...)
//   settings   DAM_SETTINGS_DIR   else $XDG_CONFIG_HOME/oxaGEPDAD6  (~/.config/...)
//   components DAM_COMPONENT_DIR  else $XDG_CONFIG_HOME/oxaGEPDAD6  (~/.config/...)
//   data       DAM_DATA_DIR       else $XDG_DATA_HOME/oxaGEPDAD6    (~/.local/share/...)
//
// Without HOME the user database's home folder is used; without either, asking for a
// folder that needs it is error 75 (host::HomeFolder). A folder is
// created owner-only (with any missing folder above it) when it is asked for, since its
// callers ask right before writing a file there; a folder that cannot be created is left
// to that write to report.
#pragma once

#include "host/HostFileSystem.h"

namespace platform {

class FileSystem : public host::HostFileSystem {
 public:
  // `folder` + "/" + `fileName`, without doubling a trailing "/"; an empty folder gives
  // the file name alone.
  std::string JoinPath(const std::string& folder, const std::string& fileName) const override;
  std::string LogFolder() const override;
  std::string SettingsFolder() const override;
  std::string ComponentFolder() const override;
  std::string DataFolder() const override;
  // POSIX open with O_APPEND and a single write loop, so that concurrent appenders do not
  // interleave within a line.
  void AppendToFile(const std::string& path, const std::string& text) const override;
};

}  // namespace platform
