// Text and number conversions with fixed rules: "." is always the decimal point, and
// conversions fail with error 6 (overflow) or 13 (type mismatch) as documented.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace runtime {

// Optional blanks, sign, digits, "." fraction, exponent ("E" or "D"); stops at the first
// character that cannot continue the number. No number gives 0.
double LeadingNumber(std::string_view text);

// True when the trimmed text is exactly one number of the grammar above.
bool IsNumericText(std::string_view text);

// Round half to even into 32 bits; out of range is error 6.
int32_t RoundToLong(double value);

// Blanks ignored; a number (non-zero is true) or True/False in any case; else error 13.
bool TextToBoolean(std::string_view text);

// Up to 15 significant digits, no trailing zeros, exponent form only beyond 1E15 or
// below 1E-5 ("1E+20", "1E-07").
std::string NumberToText(double value);

// The shortest text that reads back as exactly `value` ("0.30000000000000004", "1e+20"):
// for outputs and stores that must keep every bit of a finite double.
std::string ExactNumberText(double value);

}  // namespace runtime
