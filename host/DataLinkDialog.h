// The host's dialog that builds and tests a data link: a connection string edited through
// the installed database drivers and data sources.
#pragma once

#include <string>

namespace host {

class DataLinkDialog {
 public:
  virtual ~DataLinkDialog() = default;
  // Shows `connection` for editing; on OK puts the edited string in it and returns true,
  // otherwise leaves it alone.
  virtual bool Edit(std::string& connection) = 0;
};

}  // namespace host
