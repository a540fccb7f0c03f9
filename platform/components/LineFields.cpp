#include "platform/components/LineFields.h"

namespace platform {
namespace {

LineFields& Fields() {
  thread_local LineFields fields;
  return fields;
}

}  // namespace

const LineFields& ThisThreadsLineFields() {
  return Fields();
}

LineNote::LineNote(const LineFields& fields) : before_(Fields()) {
  LineFields& now = Fields();
  if (!fields.configuration.empty()) now.configuration = fields.configuration;
  if (fields.errorNumber) now.errorNumber = fields.errorNumber;
  if (!fields.sqlState.empty()) now.sqlState = fields.sqlState;
  if (fields.collectionTime) now.collectionTime = fields.collectionTime;
  if (fields.priority) now.priority = fields.priority;
}

LineNote::~LineNote() {
  Fields() = before_;
}

}  // namespace platform
