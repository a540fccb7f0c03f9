#include "runtime/Variant.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/runtime/ErrorOf.h"

using namespace runtime;

TEST(Variant, NullConvertsToNothing) {
  const Variant null = Null;
  EXPECT_EQ(ErrorOf([&] { ToText(null); }), kInvalidUseOfNull);
  EXPECT_EQ(ErrorOf([&] { ToLong(null); }), kInvalidUseOfNull);
  EXPECT_EQ(ErrorOf([&] { ToDouble(null); }), kInvalidUseOfNull);
  EXPECT_EQ(ErrorOf([&] { ToDate(null); }), kInvalidUseOfNull);
  EXPECT_EQ(ErrorOf([&] { ToBoolean(null); }), kInvalidUseOfNull);
  EXPECT_FALSE(IsNumeric(null));
  EXPECT_FALSE(IsDate(null));
}

TEST(Variant, Conversions) {
  const Date date = MakeDate({2024, 2, 29, 6});
  EXPECT_EQ(ToText(Variant()), "");
  EXPECT_EQ(ToText(true), "True");
  EXPECT_EQ(ToText(int32_t{-7}), "-7");
  EXPECT_EQ(ToText(0.25), "0.25");
  EXPECT_EQ(ToText(date), "2024-02-29 06:00:00");

  EXPECT_EQ(ToLong(true), -1);
  EXPECT_EQ(ToLong(" 2.5 "), 2);
  EXPECT_EQ(ToLong("3.5"), 4);
  EXPECT_EQ(ToLong(date), 45351);
  EXPECT_EQ(ErrorOf([] { ToLong("10 minutes"); }), kTypeMismatch);
  EXPECT_EQ(ErrorOf([] { ToLong("3e9"); }), kOverflow);
  EXPECT_EQ(ToDouble("-1.5D1"), -15);
  EXPECT_EQ(ToDouble(Variant()), 0);
  EXPECT_EQ(ErrorOf([] { ToDouble("abc"); }), kTypeMismatch);

  EXPECT_EQ(ToDate("2024-02-29 06:00"), date);
  EXPECT_EQ(ToDate(45351.25), date);
  EXPECT_EQ(ToDate(Variant()), Date{});
  EXPECT_EQ(ErrorOf([] { ToDate("2024-02-30"); }), kTypeMismatch);
  EXPECT_EQ(ErrorOf([] { ToDate(false); }), kTypeMismatch);
  EXPECT_EQ(ErrorOf([] { ToDate(1e12); }), kOverflow);

  EXPECT_TRUE(ToBoolean(" TRUE"));
  EXPECT_TRUE(ToBoolean(0.1));
  EXPECT_FALSE(ToBoolean(Variant()));
  EXPECT_FALSE(ToBoolean(Date{}));

  EXPECT_TRUE(IsNumeric(Variant()));
  EXPECT_TRUE(IsNumeric(" 1e3"));
  EXPECT_FALSE(IsNumeric("1e3x"));
  EXPECT_FALSE(IsNumeric(date));
  EXPECT_TRUE(IsDate("12/31/1999"));
  EXPECT_FALSE(IsDate("45351"));
  EXPECT_FALSE(IsDate(45351.0));
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
