#include "runtime/Conversions.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/runtime/ErrorOf.h"

using namespace runtime;

TEST(Conversions, RoundToLongRoundsHalfToEvenWithin32Bits) {
  EXPECT_EQ(RoundToLong(0.5), 0);
  EXPECT_EQ(RoundToLong(1.5), 2);
  EXPECT_EQ(RoundToLong(2.5), 2);
  EXPECT_EQ(RoundToLong(-2.5), -2);
  EXPECT_EQ(RoundToLong(3.5), 4);
  EXPECT_EQ(RoundToLong(-0.6), -1);
  EXPECT_EQ(RoundToLong(2.4999999), 2);
  EXPECT_EQ(RoundToLong(2147483647.4), 2147483647);
  EXPECT_EQ(ErrorOf([] { RoundToLong(2147483647.5); }), kOverflow);
  EXPECT_EQ(RoundToLong(-2147483648.5), -2147483648);
  EXPECT_EQ(ErrorOf([] { RoundToLong(-2147483649.0); }), kOverflow);
  EXPECT_EQ(ErrorOf([] { RoundToLong(std::nan("")); }), kOverflow);
  EXPECT_EQ(ErrorOf([] { RoundToLong(HUGE_VAL); }), kOverflow);
}

TEST(Conversions, LeadingNumberReadsUpToTheFirstCharacterThatCannotContinue) {
  EXPECT_EQ(LeadingNumber("10 minutes"), 10);
  EXPECT_EQ(LeadingNumber("2.5"), 2.5);
  EXPECT_EQ(LeadingNumber("3.5"), 3.5);
  EXPECT_EQ(LeadingNumber("-2.5"), -2.5);
  EXPECT_EQ(LeadingNumber("1e3"), 1000);
  EXPECT_EQ(LeadingNumber(" \t12"), 12);
  EXPECT_EQ(LeadingNumber("abc"), 0);
  EXPECT_EQ(LeadingNumber(""), 0);
  EXPECT_EQ(LeadingNumber("1e"), 1);
  EXPECT_EQ(LeadingNumber("1e+"), 1);
  EXPECT_EQ(LeadingNumber("1.5D2"), 150);
  EXPECT_EQ(LeadingNumber("+.5x"), 0.5);
  EXPECT_EQ(LeadingNumber("7.e-1"), 0.7);
  EXPECT_EQ(LeadingNumber("1,5"), 1);
  EXPECT_EQ(LeadingNumber("- 5"), 0);
  EXPECT_EQ(LeadingNumber("1e-400"), 0);
  EXPECT_EQ(ErrorOf([] { LeadingNumber("1e400"); }), kOverflow);
  EXPECT_EQ(ErrorOf([] { LeadingNumber("0.0001e99999999999999999999"); }), kOverflow);
}

TEST(Conversions, NumericTextIsExactlyOneNumberBetweenBlanks) {
  for (const char* yes : {"12", " -1.5e3 ", "\t.5", "5.", "1D-2"}) {
    EXPECT_TRUE(IsNumericText(yes)) << yes;
  }
  for (const char* no : {"", " ", ".", "-", "1e", "12a", "1 2", "e5", "0x10"}) {
    EXPECT_FALSE(IsNumericText(no)) << no;
  }
}

TEST(Conversions, TextToBooleanTakesNumbersAndTrueFalse) {
  EXPECT_TRUE(TextToBoolean("-1"));
  EXPECT_TRUE(TextToBoolean("2"));
  EXPECT_TRUE(TextToBoolean("True"));
  EXPECT_TRUE(TextToBoolean("tRUE"));
  EXPECT_FALSE(TextToBoolean(" false "));
  EXPECT_FALSE(TextToBoolean("0"));
  EXPECT_FALSE(TextToBoolean("0.0"));
  EXPECT_EQ(ErrorOf([] { TextToBoolean("yes"); }), kTypeMismatch);
  EXPECT_EQ(ErrorOf([] { TextToBoolean(""); }), kTypeMismatch);
  EXPECT_EQ(ErrorOf([] { TextToBoolean("1x"); }), kTypeMismatch);
}

TEST(Conversions, NumberToTextForms) {
  EXPECT_EQ(NumberToText(0), "0");
  EXPECT_EQ(NumberToText(-0.0), "0");
  EXPECT_EQ(NumberToText(2.0), "2");
  EXPECT_EQ(NumberToText(-0.5), "-0.5");
  EXPECT_EQ(NumberToText(0.1 + 0.2), "0.3");
  EXPECT_EQ(NumberToText(1.0 / 3), "0.333333333333333");
  EXPECT_EQ(NumberToText(123456789012345.0), "123456789012345");
  EXPECT_EQ(NumberToText(1500), "1500");
  EXPECT_EQ(NumberToText(0.00001), "0.00001");
  EXPECT_EQ(NumberToText(0.000015), "0.000015");
  EXPECT_EQ(NumberToText(9.9e-6), "9.9E-06");
  EXPECT_EQ(NumberToText(1.5e-7), "1.5E-07");
  EXPECT_EQ(NumberToText(1e15), "1E+15");
  EXPECT_EQ(NumberToText(999999999999999.9), "1E+15");
  EXPECT_EQ(NumberToText(-1e20), "-1E+20");
  EXPECT_EQ(NumberToText(1.25e100), "1.25E+100");
  EXPECT_EQ(ErrorOf([] { NumberToText(std::nan("")); }), kOverflow);
}
