// Feeds arbitrary text to Configuration1::SetData. Whatever it read, even up to a line it
// could not read, must come back unchanged through GetData and SetData: the written text
// has no empty line, no key without "=", no bad ACTIVE value and no number out of range.
// The one loss is that the reader trims the whole text, so trailing blanks of the last
// field go.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "config/Configuration1.h"
#include "host/ComponentsWrapper.h"
#include "platform/components/PlatformComponents.h"
#include "runtime/Error.h"

namespace {

// Folders that are not there: nothing is read or written.
class Nowhere : public host::HostFileSystem {
 public:
  std::string JoinPath(const std::string& folder, const std::string& name) const override {
    return folder + "/" + name;
  }
  std::string LogFolder() const override { return "/nonexistent"; }
  std::string SettingsFolder() const override { return "/nonexistent"; }
  std::string ComponentFolder() const override { return "/nonexistent"; }
  std::string DataFolder() const override { return "/nonexistent"; }
  void AppendToFile(const std::string& path, const std::string&) const override {
    throw runtime::Error(runtime::kPathFileAccessError, "cannot write " + path);
  }
};

// The platform's components without a historian: every data link that is not blank fails
// to connect.
class Components : public host::ComponentsWrapper {
 public:
  using ComponentsWrapper::ComponentsWrapper;
  host::HostFileSystem& FileSystem() override { return nowhere_; }
  std::unique_ptr<host::Connection> CreateConnection() override {
    throw runtime::Error(runtime::kCannotCreateObject, "no historian here");
  }

 private:
  Nowhere nowhere_;
};

[[noreturn]] void Fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "%s\n%s\n", what, detail.c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  platform::PlatformComponents platform;
  Components components(platform);
  config::Configuration1 configuration(components);
  bool complete = true;
  try {
    configuration.SetData(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const runtime::Error& e) {
    if (!e.Source().starts_with("Configuration1.SetData"))
      Fail("an error from elsewhere", e.Source());
    complete = false;
  }
  const std::string written = configuration.GetData();

  config::Configuration1 copy(components);
  try {
    copy.SetData(written);
  } catch (const runtime::Error& e) {
    Fail("the written text does not read back", e.NumberAndDescription());
  }
  const std::string expected = written.substr(0, written.find_last_not_of(' ') + 1);
  if (copy.GetData() != expected) Fail("the text changed on reading it back", written);
  // A read that stopped early neither tested the link nor built tag items.
  if (complete && (copy.TagItems().Count() != configuration.TagItems().Count() ||
                   copy.DataLinkState() != configuration.DataLinkState())) {
    Fail("the text read back has other tags or another link state", written);
  }
  return 0;
}
