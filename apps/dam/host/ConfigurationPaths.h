// The configuration files that `dam run` and `dam check` are given: each path a file, or a
// folder standing for every *.cfg file in it (not in its subfolders), sorted by name.
#pragma once

#include <string>
#include <vector>

namespace dam {

// The files `paths` name, in their order. A path that names nothing stands for PATH.cfg,
// else the folder PATH.d, when there is one (`dam run /etc/dam/plant`). A path that is no
// folder is taken as a file, for the reading to report when it is none. A folder that
// cannot be listed, and paths that name no file at all (only empty folders), are an
// apps::Failure with exit status kExitNoFile.
std::vector<std::string> ConfigurationFiles(const std::vector<std::string>& paths);

}  // namespace dam
