#include "runtime/Variant.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "runtime/Conversions.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

using namespace runtime;

namespace {

template <typename Call>
std::string Result(Call&& call) {
  try {
    return call();
  } catch (const Error& e) {
    return "E" + std::to_string(e.Number());
  }
}

// Text, Long, Double, Date and Boolean of a value, then N if numeric and D if a date.
std::string Conversions(const Variant& v) {
  return Join({Result([&] { return ToText(v); }), Result([&] { return std::to_string(ToLong(v)); }),
               Result([&] { return NumberToText(ToDouble(v)); }),
               Result([&] { return FormatGeneralDate(ToDate(v)); }),
               Result([&] { return std::string(ToBoolean(v) ? "T" : "F"); }),
               std::string(IsNumeric(v) ? "N" : "") + (IsDate(v) ? "D" : "")},
              "|");
}

}  // namespace

TEST(Variant, EveryKindConvertsOrRaises) {
  const std::pair<Variant, const char*> cases[] = {
      {Null, "E94|E94|E94|E94|E94|"},
      {Variant(), "|0|0|00:00:00|F|N"},
      {true, "True|-1|-1|E13|T|N"},
      {int32_t{-7}, "-7|-7|-7|1899-12-23|T|N"},
      {0.25, "0.25|0|0.25|06:00:00|T|N"},
      {45351.25, "45351.25|45351|45351.25|2024-02-29 06:00:00|T|N"},
      {1e12, "1000000000000|E6|1000000000000|E6|T|N"},
      {MakeDate({2024, 2, 29, 6}), "2024-02-29 06:00:00|45351|45351.25|2024-02-29 06:00:00|T|D"},
      {Date{}, "00:00:00|0|0|00:00:00|F|D"},
      {" 2.5 ", " 2.5 |2|2.5|E13|T|N"},
      {"-1.5D1", "-1.5D1|-15|-15|E13|T|N"},
      {"3e9", "3e9|E6|3000000000|E13|T|N"},
      {"10 minutes", "10 minutes|E13|E13|E13|E13|"},
      {"2024-02-29 06:00", "2024-02-29 06:00|E13|E13|2024-02-29 06:00:00|E13|D"},
      {"2024-02-30", "2024-02-30|E13|E13|E13|E13|"},
      {"45351", "45351|45351|45351|E13|T|N"},
  };
  for (const auto& [value, converted] : cases) EXPECT_EQ(Conversions(value), converted);
}

TEST(Error, DescriptionsAndWhatWasThrown) {
  EXPECT_EQ(Error(kTypeMismatch).NumberAndDescription(), "13 - Type mismatch");
  EXPECT_STREQ(Error(457).what(),
               "This key is already associated with an element of this collection");
  EXPECT_EQ(StandardDescription(1000), "Application-defined or object-defined error");
  EXPECT_EQ(ToError(std::make_exception_ptr(Error(3265, "Item not found", "X.Y"))).Source(), "X.Y");
  EXPECT_EQ(ToError(std::make_exception_ptr(std::bad_alloc())).Number(), kOutOfMemory);
  EXPECT_EQ(ToError(std::make_exception_ptr(std::out_of_range("at"))).Number(),
            kSubscriptOutOfRange);
  const Error other = ToError(std::make_exception_ptr(std::runtime_error("disk on fire")));
  EXPECT_EQ(other.NumberAndDescription(), "5 - disk on fire");
  EXPECT_EQ(ToError(std::make_exception_ptr(42)).Number(), kInvalidProcedureCall);
}
