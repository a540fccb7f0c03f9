// The host's dialog that builds and tests a data link: a connection string edited through
// the installed database drivers and data sources.
#pragma once

#include <functional>
#include <string>

namespace host {

class DataLinkDialog {
 public:
  // Tests a connection string and gives the text of the resulting state.
  using Tester = std::function<std::string(const std::string& connection)>;

  virtual ~DataLinkDialog() = default;
  // Shows `connection` for editing; its Test Connection button runs `test`. On OK puts the
  // edited string in `connection` and returns true, otherwise leaves it alone.
  virtual bool Edit(std::string& connection, const Tester& test) = 0;
};

}  // namespace host
