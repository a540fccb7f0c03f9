// Where every file of the host and the driver lives: one resolver, so that the registry,
// the log, the settings and the data agree. Each place can be redirected by a DAM_*
// variable (tests and services set them); otherwise the XDG base directories decide, an
// XDG variable that is not an absolute path being ignored as the XDG rules say. An empty
// variable counts as unset, and the variables are read on every call.
#pragma once

#include <string>
#include <string_view>

namespace host {

enum class BaseFolder {
  State,   // $XDG_STATE_HOME, else ~/.local/state
  Config,  // $XDG_CONFIG_HOME, else ~/.config
  Data,    // $XDG_DATA_HOME, else ~/.local/share
};

// $HOME, else the home folder of this user's entry in the user database (a service
// started without HOME has one). When neither names a folder it is error 75 saying so
// and naming `overrideVariable`, which would make the home folder unnecessary; never a
// path under "/".
std::string HomeFolder(std::string_view overrideVariable);

// The XDG base folder `base`.
std::string BaseFolderPath(BaseFolder base, std::string_view overrideVariable);

// $`overrideVariable` when set, else BaseFolderPath(base)/`application`. Nothing is created.
std::string ApplicationFolder(std::string_view overrideVariable, BaseFolder base,
                              std::string_view application);

}  // namespace host
