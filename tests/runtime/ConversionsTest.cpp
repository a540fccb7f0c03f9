#include "runtime/Conversions.h"

#include <gtest/gtest.h>

#include <cmath>

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
      {"10 minutes", 10}, {"2.5", 2.5}, {"3.5", 3.5}, {"-2.5", -2.5}, {"1e3", 1000},  {" \t12", 12},
      {"abc", 0},         {"", 0},      {"1e", 1},    {"1e+", 1},     {"1.5D2", 150}, {"+.5x", 0.5},
      {"7.e-1", 0.7},     {"1,5", 1},   {"- 5", 0},   {"1e-400", 0}};
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
