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
};

// The standard description of a standard error number; "Application-defined or
// object-defined error" for any other number.
std::string StandardDescription(int32_t number);

class Error : public std::runtime_error {
 public:
  Error(int32_t number, std::string description, std::string source = {});
  // An error with the standard description of its number.
  explicit Error(int32_t number);

  int32_t Number() const { return number_; }
  const std::string& Description() const { return description_; }
  const std::string& Source() const { return source_; }

  // "number - description", the form logs and status texts use.
  std::string NumberAndDescription() const;

 private:
  int32_t number_;
  std::string description_;
  std::string source_;
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
    Error e = ToError(std::current_exception());
    throw Error(e.Number(), e.Description(), location);
  }
}

}  // namespace runtime
