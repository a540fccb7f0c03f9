#include "platform/utility/Comparer.h"

#include <gtest/gtest.h>

#include "runtime/Error.h"
#include "tests/runtime/ErrorOf.h"

namespace {

using runtime::Variant;

TEST(ComparerTest, CodesOneToSixRelateTheFirstValueToTheSecond) {
  platform::Comparer comparer;
  const struct {
    Variant a, b;
    const char* results;  // codes 1 to 6: = > >= < <= <>
  } cases[] = {
      {3.0, 5, "FFFTTT"},
      {5, 5.0, "TFTFTF"},  // a Long and a Double compare by value
      {int32_t{200}, int32_t{100}, "FTTFFT"},
      {runtime::Date{2.5}, runtime::Date{2.5}, "TFTFTF"},
      {"abc", "ABD", "FTTFFT"},  // byte-wise: lower case after upper case
      {"abc", "abc", "TFTFTF"},
      {"abc", "abcd", "FFFTTT"},
      {"\xC3\xA9", "z", "FTTFFT"},  // bytes compare unsigned: UTF-8 after ASCII
      {"10", 9, "FFFTTT"},          // text against a number compares texts
  };
  for (const auto& c : cases) {
    std::string results;
    for (int32_t code = 1; code <= 6; ++code) {
      results += comparer.CompareValues(c.a, code, c.b) ? 'T' : 'F';
    }
    EXPECT_EQ(results, c.results) << runtime::ToText(c.a) << " vs " << runtime::ToText(c.b);
  }
  for (int32_t code : {0, 7, -1}) EXPECT_FALSE(comparer.CompareValues(1, code, 1)) << code;
  EXPECT_EQ(ErrorOf([&] { comparer.CompareValues(runtime::Null, 1, "x"); }),
            runtime::kInvalidUseOfNull);
}

}  // namespace
