// The selection dialogs of the SPC database: a modal list of one kind of record (parts,
// processes, jobs, shifts, descriptors or tests) under their groups, narrowed by a filter
// on the names, starting on the given record or group.
#pragma once

#include <QDialog>
#include <optional>

#include "host/SelectionDialog.h"
#include "platform/spcdb/SpcRecord.h"

class QLineEdit;
class QTreeWidget;

namespace platform {

class SpcSelectionDialog : public QDialog, public host::SelectionDialog {
 public:
  explicit SpcSelectionDialog(host::SelectionKind kind, QWidget* parent = nullptr);

  // `database` must be an SpcSession.
  bool Run(host::DatabaseSession& database, int32_t initialId, int32_t initialGroupId) override;
  const host::HostRecord& Chosen() const override;

  // Fills the list; Run does it before showing.
  void Load(host::DatabaseSession& database, int32_t initialId, int32_t initialGroupId);

  void accept() override;

 private:
  void ApplyFilter();

  host::RecordKind kind_, groupKind_;
  const char* groupField_;
  std::optional<SpcRecord> chosen_;
  QLineEdit* txtFilter_;
  QTreeWidget* lvwRecords_;
};

}  // namespace platform
