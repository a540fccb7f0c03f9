#include "runtime/Error.h"

#include <new>
#include <utility>

namespace runtime {

std::string StandardDescription(int32_t number) {
  switch (number) {
    case kInvalidProcedureCall:
      return "Invalid procedure call or argument";
    case kOverflow:
      return "Overflow";
    case kOutOfMemory:
      return "Out of memory";
    case kSubscriptOutOfRange:
      return "Subscript out of range";
    case kTypeMismatch:
      return "Type mismatch";
    case kFileNotFound:
      return "File not found";
    case kPathFileAccessError:
      return "Path/File access error";
    case kObjectNotSet:
      return "Object variable or With block variable not set";
    case kInvalidUseOfNull:
      return "Invalid use of Null";
    case kKeyAlreadyInCollection:
      return "This key is already associated with an element of this collection";
    default:
      return "Application-defined or object-defined error";
  }
}

Error::Error(int32_t number, std::string description, std::string source, std::string sqlState)
    : std::runtime_error(description),
      number_(number),
      description_(std::move(description)),
      source_(std::move(source)),
      sqlState_(std::move(sqlState)) {}

Error::Error(int32_t number) : Error(number, StandardDescription(number)) {}

Error Error::From(std::string source) const {
  return Error(number_, description_, std::move(source), sqlState_);
}

std::string Error::NumberAndDescription() const {
  return std::to_string(number_) + " - " + description_;
}

Error ToError(std::exception_ptr thrown) {
  if (!thrown) return Error(kInvalidProcedureCall);
  try {
    std::rethrow_exception(thrown);
  } catch (const Error& e) {
    return e;
  } catch (const std::bad_alloc&) {
    return Error(kOutOfMemory);
  } catch (const std::out_of_range&) {
    return Error(kSubscriptOutOfRange);
  } catch (const std::exception& e) {
    return Error(kInvalidProcedureCall, e.what());
  } catch (...) {
    return Error(kInvalidProcedureCall);
  }
}

}  // namespace runtime
