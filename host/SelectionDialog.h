// The host's modal dialogs that let a user pick a part, process, job, shift, descriptor
// or test from the SPC database.
#pragma once

#include <cstdint>
#include <memory>

#include "host/HostRecord.h"

namespace host {

class DatabaseSession;

enum class SelectionKind { Part, Process, Job, Shift, Descriptor, Test };

class SelectionDialog {
 public:
  virtual ~SelectionDialog() = default;
  // Shows the choice starting from the given record and group (0: none); true when the
  // user confirmed a record.
  virtual bool Run(DatabaseSession& database, int32_t initialId, int32_t initialGroupId) = 0;
  // The confirmed record; read its "Name" and group identifier fields.
  virtual const HostRecord& Chosen() const = 0;
};

}  // namespace host
