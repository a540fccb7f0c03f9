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
#include "runtime/Error.h"

namespace {

[[noreturn]] void Unsupported() {
  throw runtime::Error(runtime::kCannotCreateObject, "ActiveX component can't create object");
}

class DateMath : public host::HostDateMath {
 public:
  runtime::Date SerialToDate(int32_t serial) const override {
    return runtime::SerialTimeToDate(serial);
  }
  int32_t DateToSerial(runtime::Date date) const override {
    return runtime::DateToSerialTime(date);
  }
  runtime::Date NextPeriodTime(runtime::Date, runtime::Date, int32_t, int32_t) const override {
    Unsupported();
  }
};

class FileSystem : public host::HostFileSystem {
 public:
  std::string JoinPath(const std::string& folder, const std::string& name) const override {
    return folder + "/" + name;
  }
  std::string LogFolder() const override { return "/nonexistent"; }
  std::string SettingsFolder() const override { return "/nonexistent"; }
  std::string ComponentFolder() const override { return "/nonexistent"; }
  std::string DataFolder() const override { return "/nonexistent"; }
  void AppendToFile(const std::string&, const std::string&) const override { Unsupported(); }
};

class EmptySettings : public host::SettingsFile {
 public:
  std::string ReadString(const std::string&, const std::string&,
                         const std::string& fallback) const override {
    return fallback;
  }
  int32_t ReadInteger(const std::string&, const std::string&, int32_t fallback) const override {
    return fallback;
  }
  void WriteString(const std::string&, const std::string&, const std::string&) override {
    Unsupported();
  }
};

// No historian: every data link that is not blank fails to connect.
class Components : public host::Components {
 public:
  host::HostDateMath& DateMath() override { return dateMath_; }
  host::HostComparer& Comparer() override { Unsupported(); }
  host::HostTextExpander& TextExpander() override { Unsupported(); }
  host::HostTextCodec& TextCodec() override { Unsupported(); }
  host::HostFileSystem& FileSystem() override { return fileSystem_; }
  std::unique_ptr<host::Connection> CreateConnection() override { Unsupported(); }
  std::unique_ptr<host::HostTimer> CreateTimer() override { Unsupported(); }
  std::unique_ptr<host::HostError> CreateError() override { Unsupported(); }
  std::unique_ptr<host::SettingsFile> OpenSettingsFile(const std::string&) override {
    return std::make_unique<EmptySettings>();
  }
  std::shared_ptr<host::DatabaseSession> CreateDatabaseSession() override { Unsupported(); }
  std::unique_ptr<host::HostRecord> CreateRecord(host::RecordKind) override { Unsupported(); }
  std::unique_ptr<host::HostSubgroup> CreateSubgroup() override { Unsupported(); }
  std::unique_ptr<host::SelectionDialog> CreateSelectionDialog(host::SelectionKind) override {
    Unsupported();
  }
  std::unique_ptr<host::DataLinkDialog> CreateDataLinkDialog() override { Unsupported(); }
  void MessageBox(const std::string&) override {}
  void Beep() override {}

 private:
  class DateMath dateMath_;
  class FileSystem fileSystem_;
};

[[noreturn]] void Fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "%s\n%s\n", what, detail.c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Components components;
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
