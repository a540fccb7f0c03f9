#include "runtime/Variant.h"

#include "runtime/Conversions.h"
#include "runtime/Error.h"

namespace runtime {

std::string ToText(const Variant& value) {
  switch (value.kind()) {
    case Variant::Kind::Empty:
      return {};
    case Variant::Kind::Null:
      break;
    case Variant::Kind::Boolean:
      return value.AsBoolean() ? "True" : "False";
    case Variant::Kind::Long:
      return std::to_string(value.AsLong());
    case Variant::Kind::Double:
      return NumberToText(value.AsDouble());
    case Variant::Kind::String:
      return value.AsString();
    case Variant::Kind::Date:
      return FormatGeneralDate(value.AsDate());
  }
  throw Error(kInvalidUseOfNull);
}

double ToDouble(const Variant& value) {
  switch (value.kind()) {
    case Variant::Kind::Empty:
      return 0;
    case Variant::Kind::Null:
      break;
    case Variant::Kind::Boolean:
      return value.AsBoolean() ? -1 : 0;
    case Variant::Kind::Long:
      return value.AsLong();
    case Variant::Kind::Double:
      return value.AsDouble();
    case Variant::Kind::String:
      if (!IsNumericText(value.AsString())) throw Error(kTypeMismatch);
      return LeadingNumber(value.AsString());
    case Variant::Kind::Date:
      return value.AsDate().serial;
  }
  throw Error(kInvalidUseOfNull);
}

int32_t ToLong(const Variant& value) {
  return RoundToLong(ToDouble(value));
}

Date ToDate(const Variant& value) {
  switch (value.kind()) {
    case Variant::Kind::Empty:
      return Date{};
    case Variant::Kind::Null:
      break;
    case Variant::Kind::Boolean:
      throw Error(kTypeMismatch);
    case Variant::Kind::Long:
    case Variant::Kind::Double: {
      const Date date{ToDouble(value)};
      SplitDate(date);  // error 6 for a number no date has
      return date;
    }
    case Variant::Kind::String:
      if (auto date = ParseDate(value.AsString())) return *date;
      throw Error(kTypeMismatch);
    case Variant::Kind::Date:
      return value.AsDate();
  }
  throw Error(kInvalidUseOfNull);
}

bool ToBoolean(const Variant& value) {
  switch (value.kind()) {
    case Variant::Kind::Empty:
      return false;
    case Variant::Kind::Null:
      break;
    case Variant::Kind::Boolean:
      return value.AsBoolean();
    case Variant::Kind::Long:
      return value.AsLong() != 0;
    case Variant::Kind::Double:
      return value.AsDouble() != 0;
    case Variant::Kind::String:
      return TextToBoolean(value.AsString());
    case Variant::Kind::Date:
      return value.AsDate().serial != 0;
  }
  throw Error(kInvalidUseOfNull);
}

bool IsNumeric(const Variant& value) {
  switch (value.kind()) {
    case Variant::Kind::Empty:
    case Variant::Kind::Boolean:
    case Variant::Kind::Long:
    case Variant::Kind::Double:
      return true;
    case Variant::Kind::String:
      return IsNumericText(value.AsString());
    default:
      return false;
  }
}

bool IsDate(const Variant& value) {
  if (value.kind() == Variant::Kind::Date) return true;
  return value.kind() == Variant::Kind::String && ParseDate(value.AsString()).has_value();
}

}  // namespace runtime
