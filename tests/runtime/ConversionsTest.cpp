#include "runtime/Conversions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <stdexcept>

#include "runtime/Error.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"
#include "tests/runtime/ErrorOf.h"

using namespace runtime;

TEST(Conversions, RoundToLongRoundsHalfToEvenWithin32Bits) {
  const std::pair<double, int32_t> cases[] = {{0.5, 0}, {1.5, 2},   {2.5, 2},      {-2.5, -2},
                                              {3.5, 4}, {-0.6, -1}, {2.4999999, 2}};
  for (const auto& [value, rounded] : cases) EXPECT_EQ(RoundToLong(value), rounded) << value;
  EXPECT_EQ(RoundToLong(2147483647.4), 2147483647);
  EXPECT_EQ(RoundToLong(-2147483648.5), -2147483647 - 1);
  for (double value : {2147483647.5, -2147483649.0, std::nan(""), HUGE_VAL}) {
    EXPECT_EQ(ErrorOf([&] { RoundToLong(value); }), kOverflow) << value;
  }
}

TEST(Conversions, LeadingNumberReadsUpToTheFirstCharacterThatCannotContinue) {
  const std::pair<const char*, double> cases[] = {
      {"10 minutes", 10}, {"2.5", 2.5},   {"-2.5", -2.5}, {"1e3", 1000}, {" \t12", 12},
      {"abc", 0},         {"", 0},        {"1e", 1},      {"1e+", 1},    {"1.5D2", 150},
      {"+.5x", 0.5},      {"7.e-1", 0.7}, {"1,5", 1},     {"- 5", 0},    {"1e-400", 0}};
  for (const auto& [text, number] : cases) EXPECT_EQ(LeadingNumber(text), number) << text;
  for (const char* text : {"1e400", "0.0001e99999999999999999999"}) {
    EXPECT_EQ(ErrorOf([&] { LeadingNumber(text); }), kOverflow) << text;
  }
}

// A text is numeric when it is exactly one number between blanks; as a Boolean it is that
// number, or True or False in any case.
TEST(Conversions, NumericAndBooleanText) {
  for (const char* yes : {"12", " -1.5e3 ", "\t.5", "5.", "1D-2"}) {
    EXPECT_TRUE(IsNumericText(yes)) << yes;
  }
  for (const char* no : {"", " ", ".", "-", "1e", "12a", "1 2", "e5", "0x10"}) {
    EXPECT_FALSE(IsNumericText(no)) << no;
  }
  for (const char* yes : {"-1", "2", "0.5", "True", " tRUE "}) {
    EXPECT_TRUE(TextToBoolean(yes)) << yes;
  }
  for (const char* no : {" false ", "fALSE", "0", " 0.0 "}) EXPECT_FALSE(TextToBoolean(no)) << no;
  for (const char* bad : {"yes", "", "1x"}) {
    EXPECT_EQ(ErrorOf([&] { TextToBoolean(bad); }), kTypeMismatch) << bad;
  }
}

TEST(Conversions, NumberToTextForms) {
  const std::pair<double, const char*> cases[] = {
      {0.0, "0"},          {-0.0, "0"},         {2.0, "2"},        {-0.5, "-0.5"},
      {0.1 + 0.2, "0.3"},  {1500, "1500"},      {1e-5, "0.00001"}, {1.5e-5, "0.000015"},
      {9.9e-6, "9.9E-06"}, {1.5e-7, "1.5E-07"}, {1e15, "1E+15"},   {-1e20, "-1E+20"}};
  for (const auto& [number, text] : cases) EXPECT_EQ(NumberToText(number), text) << number;
  EXPECT_EQ(NumberToText(1.25e100), "1.25E+100");
  EXPECT_EQ(NumberToText(1.0 / 3), "0.333333333333333");
  EXPECT_EQ(NumberToText(123456789012345.0), "123456789012345");
  EXPECT_EQ(NumberToText(999999999999999.9), "1E+15");
  EXPECT_EQ(ErrorOf([] { NumberToText(std::nan("")); }), kOverflow);
}

namespace {

// What `call` returns, or "E" and the number of the error it raises.
std::string Result(const std::function<std::string()>& call) {
  std::string result;
  const int32_t number = ErrorOf([&] { result = call(); });
  return number ? "E" + std::to_string(number) : result;
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
