// A real SQLite SPC database holding one name of each kind, for the "Select from
// Database..." buttons, and a selection dialog that records where it was started from.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/SelectionDialog.h"
#include "platform/spcdb/SpcRecord.h"
#include "platform/spcdb/SpcSession.h"

namespace uitest {

// Part "Gear" in "Gears", process "Milling" in "Line 1", descriptor "Anna" in "Operators",
// test "Width" in "Dimensions".
std::shared_ptr<platform::SpcSession> CreateSpcDatabase(const std::string& file);

// The record `name` of `kind`, as loaded from `session`.
platform::SpcRecord LoadRecord(platform::SpcSession& session, host::RecordKind kind,
                               const std::string& name);

struct SelectionRun {
  host::SelectionKind kind;
  int32_t initialId, initialGroupId;
};

// Records every run; confirms `choice` when it has one, else cancels.
class RecordingSelection : public host::SelectionDialog {
 public:
  RecordingSelection(std::vector<SelectionRun>& runs, host::SelectionKind kind,
                     std::optional<platform::SpcRecord> choice)
      : runs_(runs), kind_(kind), choice_(std::move(choice)) {}
  bool Run(host::DatabaseSession&, int32_t initialId, int32_t initialGroupId) override {
    runs_.push_back({kind_, initialId, initialGroupId});
    return choice_.has_value();
  }
  const host::HostRecord& Chosen() const override { return *choice_; }

 private:
  std::vector<SelectionRun>& runs_;
  host::SelectionKind kind_;
  std::optional<platform::SpcRecord> choice_;
};

}  // namespace uitest
