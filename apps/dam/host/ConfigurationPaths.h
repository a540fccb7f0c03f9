// The configuration files that `dam run` and `dam check` are given: each path a file, or a
// folder standing for every *.cfg file in it (not in its subfolders), sorted by name.
#pragma once

#include <string>
#include <vector>

namespace dam {

struct ConfigurationFileList {
  // A path naming a file named before (a link to it, another spelling of its path, a folder
  // holding it): one driver saving each subgroup twice is never what was meant.
  struct Again {
    std::string path;
    std::string first;
  };
  // A folder PATH.d that PATH stands for no longer, as PATH.cfg is there: a plant that moved
  // its lines into the folder and kept the file would run none of them, unseen.
  struct PassedOver {
    std::string folder;
    std::string file;
  };
  std::vector<std::string> files;
  std::vector<Again> again;
  std::vector<PassedOver> passedOver;
};

// The files `paths` name, in their order, each file once (by device and inode). A path that
// names nothing stands for PATH.cfg, else the folder PATH.d, when there is one (`dam run
// /etc/dam/plant`); a PATH.d beside PATH.cfg is passed over. A path that is no folder, and a
// folder's entry whose kind cannot be told (a link to itself), are taken as files, for the reading
// to report. A folder that cannot be listed, and paths that name no file at all (only empty
// folders), are an apps::Failure with exit status kExitNoFile.
ConfigurationFileList ConfigurationFiles(const std::vector<std::string>& paths);

// Why none of a passed-over folder's files run.
std::string PassedOverText(const ConfigurationFileList::PassedOver& over);

}  // namespace dam
