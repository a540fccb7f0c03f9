// Components that forward every call to other Components, so that a subclass overrides only
// what it changes: a fault test fails one factory of real or fake components, a benchmark
// ticks its own timers on the platform's components. The target outlives the wrapper; the
// wrapper is used on the target's thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/Components.h"

namespace host {

class ComponentsWrapper : public Components {
 public:
  explicit ComponentsWrapper(Components& target) : target_(target) {}

  Components& Target() const { return target_; }

  HostDateMath& DateMath() override { return target_.DateMath(); }
  HostComparer& Comparer() override { return target_.Comparer(); }
  HostTextExpander& TextExpander() override { return target_.TextExpander(); }
  HostTextCodec& TextCodec() override { return target_.TextCodec(); }
  HostFileSystem& FileSystem() override { return target_.FileSystem(); }

  std::unique_ptr<Connection> CreateConnection() override { return target_.CreateConnection(); }
  std::unique_ptr<Connection> CreateWindowConnection() override {
    return target_.CreateWindowConnection();
  }
  std::unique_ptr<HostTimer> CreateTimer() override { return target_.CreateTimer(); }
  std::unique_ptr<HostError> CreateError() override { return target_.CreateError(); }
  std::unique_ptr<SettingsFile> OpenSettingsFile(const std::string& path) override {
    return target_.OpenSettingsFile(path);
  }
  std::shared_ptr<DatabaseSession> CreateDatabaseSession() override {
    return target_.CreateDatabaseSession();
  }
  std::unique_ptr<HostRecord> CreateRecord(RecordKind kind) override {
    return target_.CreateRecord(kind);
  }
  std::unique_ptr<HostSubgroup> CreateSubgroup() override { return target_.CreateSubgroup(); }
  std::unique_ptr<SelectionDialog> CreateSelectionDialog(SelectionKind kind) override {
    return target_.CreateSelectionDialog(kind);
  }
  std::unique_ptr<DataLinkDialog> CreateDataLinkDialog() override {
    return target_.CreateDataLinkDialog();
  }

  void MessageBox(const std::string& text) override { target_.MessageBox(text); }
  void Beep() override { target_.Beep(); }

  std::optional<DataLinkTest> SharedDataLinkTest(const std::string& link) override {
    return target_.SharedDataLinkTest(link);
  }

 private:
  Components& target_;
};

}  // namespace host
