// host::Components for tests: real ODBC connections, settings files and utility objects,
// folders in a temporary folder of its own, an identity text codec, and a
// record of everything shown to the user. Host objects the tests do not need (database
// session, records, subgroups, selection dialogs, timers) fail to create with error 429
// unless a test installs a factory for them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/Components.h"
#include "platform/utility/Comparer.h"
#include "platform/utility/DateMath.h"
#include "platform/utility/FileSystem.h"
#include "platform/utility/TextExpander.h"
#include "tests/support/TempFolder.h"

namespace testsupport {

// One call of HostError::Show.
struct ShownError {
  std::string module, source, description;
  int32_t number = 0;
  std::string location;
};

class IdentityCodec : public host::HostTextCodec {
 public:
  std::string DecodeText(const std::string&, const std::string& text) const override {
    return text;
  }
  std::string EncodeText(const std::string&, const std::string& text) const override {
    return text;
  }
};

// The folders "log", "settings", "components" and "data" inside one temporary folder;
// files are written by the platform's implementation.
class TempFileSystem : public host::HostFileSystem {
 public:
  explicit TempFileSystem(const TempFolder& root);
  std::string JoinPath(const std::string& folder, const std::string& fileName) const override;
  std::string LogFolder() const override { return log_; }
  std::string SettingsFolder() const override { return settings_; }
  std::string ComponentFolder() const override { return components_; }
  std::string DataFolder() const override { return data_; }
  void AppendToFile(const std::string& path, const std::string& text) const override {
    files_.AppendToFile(path, text);
  }

 private:
  std::string log_, settings_, components_, data_;
  platform::FileSystem files_;
};

class FakeComponents : public host::Components {
 public:
  FakeComponents();

  host::HostDateMath& DateMath() override { return dateMath_; }
  host::HostComparer& Comparer() override { return comparer_; }
  host::HostTextExpander& TextExpander() override { return expander_; }
  host::HostTextCodec& TextCodec() override { return codec_; }
  host::HostFileSystem& FileSystem() override { return fileSystem_; }

  std::unique_ptr<host::Connection> CreateConnection() override;
  std::unique_ptr<host::HostTimer> CreateTimer() override;
  std::unique_ptr<host::HostError> CreateError() override;
  std::unique_ptr<host::SettingsFile> OpenSettingsFile(const std::string& path) override;
  std::shared_ptr<host::DatabaseSession> CreateDatabaseSession() override;
  std::unique_ptr<host::HostRecord> CreateRecord(host::RecordKind kind) override;
  std::unique_ptr<host::HostSubgroup> CreateSubgroup() override;
  std::unique_ptr<host::SelectionDialog> CreateSelectionDialog(host::SelectionKind kind) override;
  std::unique_ptr<host::DataLinkDialog> CreateDataLinkDialog() override;

  void MessageBox(const std::string& text) override { messageBoxes.push_back(text); }
  void Beep() override { ++beeps; }

  // The temporary folder that holds this object's folders; tests may put files there.
  const TempFolder& Root() const { return root_; }

  std::vector<ShownError> shownErrors;
  std::vector<std::string> messageBoxes;
  int beeps = 0;
  int connectionsCreated = 0;

  std::function<std::unique_ptr<host::HostTimer>()> timerFactory;
  std::function<std::shared_ptr<host::DatabaseSession>()> databaseSessionFactory;
  std::function<std::unique_ptr<host::HostRecord>(host::RecordKind)> recordFactory;
  std::function<std::unique_ptr<host::HostSubgroup>()> subgroupFactory;
  std::function<std::unique_ptr<host::SelectionDialog>(host::SelectionKind)> selectionDialogFactory;
  std::function<std::unique_ptr<host::DataLinkDialog>()> dataLinkDialogFactory;

 private:
  TempFolder root_;
  platform::DateMath dateMath_;
  platform::Comparer comparer_;
  platform::TextExpander expander_;
  IdentityCodec codec_;
  TempFileSystem fileSystem_;
};

}  // namespace testsupport
