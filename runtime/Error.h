// Run-time errors: a number, a description and a source naming where the error arose.
// Every failure the system reports travels as a runtime::Error; anything else thrown
// (std::bad_alloc, a standard library exception) is turned into one by ToError.
#pragma once

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>

namespace runtime {

enum ErrorNumber : int32_t {
  kInvalidProcedureCall = 5,
  kOverflow = 6,
  kOutOfMemory = 7,
  kSubscriptOutOfRange = 9,
  kTypeMismatch = 13,
  kFileNotFound = 53,
  kPathFileAccessError = 75,
  kObjectNotSet = 91,
  kInvalidUseOfNull = 94,
  // A class the host cannot create: no factory, no windows to show it on.
  kCannotCreateObject = 429,
  kKeyAlreadyInCollection = 457,
  // Data access: a recordset at its end, a field name it does not have, a closed connection.
  kNoCurrentRecord = 3021,
  kItemNotFound = 3265,
  kConnectionClosed = 3709,
};

// The standard description of a standard error number; "Application-defined or
// object-defined error" for any other number.
std::string StandardDescription(int32_t number);

class Error : public std::runtime_error {
 public:
  // `sqlState`: a data access error's SQLSTATE (of its first diagnostic record), which
  // callers test instead of reading it back out of the description.
  Error(int32_t number, std::string description, std::string source = {},
        std::string sqlState = {});
  // An error with the standard description of its number.
  explicit Error(int32_t number);

  int32_t Number() const { return number_; }
  const std::string& Description() const { return description_; }
  const std::string& Source() const { return source_; }
  // Empty unless the error came from a database call.
  const std::string& SqlState() const { return sqlState_; }

  // The same error (number, description, SQLSTATE) raised again from `source`.
  Error From(std::string source) const;

  // "number - description", the form logs and status texts use.
  std::string NumberAndDescription() const;

 private:
  int32_t number_;
  std::string description_;
  std::string source_;
  std::string sqlState_;
};

// Whatever was thrown, as a runtime::Error.
Error ToError(std::exception_ptr thrown);

// The convention of private procedures: an error inside `body` is raised again to the
// caller with the same number and description and a source naming `location`
// ("Configuration1.SetData"), so the outermost handler shows where it arose.
template <typename Body>
decltype(auto) RaisingFrom(const char* location, Body&& body) {
  try {
    return body();
  } catch (...) {
    throw ToError(std::current_exception()).From(location);
  }
}

}  // namespace runtime
