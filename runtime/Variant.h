// A value of one of the kinds the system passes around untyped: tag values read from the
// historian, resolved condition operands, driver properties. Conversions follow the
// fixed rules of Conversions.h and Date.h; converting Null is error 94.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "runtime/Date.h"

namespace runtime {

struct NullValue {
  friend bool operator==(NullValue, NullValue) = default;
};
inline constexpr NullValue Null{};

class Variant {
 public:
  enum class Kind { Empty, Null, Boolean, Long, Double, String, Date };

  Variant() = default;
  Variant(NullValue) : value_(NullValue{}) {}
  Variant(bool value) : value_(value) {}
  Variant(int32_t value) : value_(value) {}
  Variant(double value) : value_(value) {}
  Variant(std::string value) : value_(std::move(value)) {}
  Variant(const char* value) : value_(std::string(value)) {}
  Variant(Date value) : value_(value) {}

  Kind kind() const { return static_cast<Kind>(value_.index()); }
  bool IsEmpty() const { return kind() == Kind::Empty; }
  bool IsNull() const { return kind() == Kind::Null; }

  friend bool operator==(const Variant&, const Variant&) = default;

  // The stored alternative; the caller checks kind() first.
  bool AsBoolean() const { return std::get<bool>(value_); }
  int32_t AsLong() const { return std::get<int32_t>(value_); }
  double AsDouble() const { return std::get<double>(value_); }
  const std::string& AsString() const { return std::get<std::string>(value_); }
  Date AsDate() const { return std::get<Date>(value_); }

 private:
  std::variant<std::monostate, NullValue, bool, int32_t, double, std::string, Date> value_;
};

// Empty gives "" (or 0); Boolean gives "True"/"False"; numbers as NumberToText; dates as
// FormatGeneralDate. Null is error 94.
std::string ToText(const Variant& value);
// Text is read as a whole number (error 13 if it is not one); error 6 beyond 32 bits.
int32_t ToLong(const Variant& value);
double ToDouble(const Variant& value);
// Text must parse as a date (error 13); numbers are date serials.
Date ToDate(const Variant& value);
bool ToBoolean(const Variant& value);

// Numbers, Empty, and text that IsNumericText accepts.
bool IsNumeric(const Variant& value);
// Dates, and text that ParseDate accepts.
bool IsDate(const Variant& value);

}  // namespace runtime
