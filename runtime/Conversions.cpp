#include "runtime/Conversions.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "runtime/Error.h"
#include "runtime/Text.h"

namespace runtime {
namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// Where the number at the start of `text` (after blanks) begins and ends.
struct NumberSpan {
  size_t begin = 0;
  size_t end = 0;
  bool found = false;
};

NumberSpan ScanNumber(std::string_view text) {
  NumberSpan span;
  size_t i = 0;
  while (i < text.size() && IsBlank(text[i])) ++i;
  span.begin = i;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  size_t digits = 0;
  for (; i < text.size() && IsDigit(text[i]); ++i) ++digits;
  if (i < text.size() && text[i] == '.') {
    for (++i; i < text.size() && IsDigit(text[i]); ++i) ++digits;
  }
  if (digits == 0) return span;
  span.found = true;
  span.end = i;
  if (i < text.size() && std::string_view("EeDd").find(text[i]) != std::string_view::npos) {
    size_t j = i + 1;
    if (j < text.size() && (text[j] == '+' || text[j] == '-')) ++j;
    if (j < text.size() && IsDigit(text[j])) {
      while (j < text.size() && IsDigit(text[j])) ++j;
      span.end = j;
    }
  }
  return span;
}

// True when the value of the plain number `text` (no sign, no blanks) is 1 or more in
// magnitude: decides between overflow and underflow when it does not fit a double.
bool AtLeastOne(std::string_view text) {
  const size_t exponent_at = text.find_first_of("eE");
  const std::string_view mantissa = text.substr(0, exponent_at);
  long long exponent = 0;
  if (exponent_at != std::string_view::npos) {
    std::string_view digits = text.substr(exponent_at + 1);
    const bool negative = digits.front() == '-';
    if (digits.front() == '+' || negative) digits.remove_prefix(1);
    for (char c : digits) exponent = std::min(exponent * 10 + (c - '0'), 1'000'000'000LL);
    if (negative) exponent = -exponent;
  }
  const size_t first = mantissa.find_first_of("123456789");
  const size_t point = std::min(mantissa.find('.'), mantissa.size());
  if (first == std::string_view::npos) return false;
  const long long position = first < point ? static_cast<long long>(point - first)
                                           : -static_cast<long long>(first - point - 1);
  return position + exponent > 0;
}

}  // namespace

double LeadingNumber(std::string_view text) {
  const NumberSpan span = ScanNumber(text);
  if (!span.found) return 0;
  std::string number(text.substr(span.begin, span.end - span.begin));
  const bool negative = number.front() == '-';
  if (number.front() == '+' || negative) number.erase(0, 1);
  for (char& c : number) {
    if (c == 'D' || c == 'd') c = 'E';
  }
  double value = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    if (AtLeastOne(number)) throw Error(kOverflow);
    value = 0;
  }
  return negative ? -value : value;
}

bool IsNumericText(std::string_view text) {
  const std::string_view trimmed = TrimBlanks(text);
  const NumberSpan span = ScanNumber(trimmed);
  return span.found && span.end == trimmed.size();
}

int32_t RoundToLong(double value) {
  if (!std::isfinite(value)) throw Error(kOverflow);
  double rounded = std::floor(value);
  const double rest = value - rounded;
  if (rest > 0.5 || (rest == 0.5 && std::fmod(rounded, 2.0) != 0)) rounded += 1;
  if (rounded < -2147483648.0 || rounded > 2147483647.0) throw Error(kOverflow);
  return static_cast<int32_t>(rounded);
}

bool TextToBoolean(std::string_view text) {
  const std::string_view trimmed = TrimBlanks(text);
  if (IsNumericText(trimmed)) return LeadingNumber(trimmed) != 0;
  if (EqualsNoCase(trimmed, "true")) return true;
  if (EqualsNoCase(trimmed, "false")) return false;
  throw Error(kTypeMismatch);
}

std::string NumberToText(double value) {
  if (!std::isfinite(value)) throw Error(kOverflow);
  if (value == 0) return "0";
  // d.dddddddddddddde±x: 15 significant digits, rounded once, whatever the locale.
  char buffer[40];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, std::fabs(value),
                                    std::chars_format::scientific, 14);
  const std::string_view text(buffer, result.ptr - buffer);
  const size_t e = text.find('e');
  std::string digits = std::string(1, text[0]) + std::string(text.substr(2, e - 2));
  digits.erase(digits.find_last_not_of('0') + 1);
  int exponent = 0;
  std::from_chars(text.data() + e + (text[e + 1] == '+' ? 2 : 1), text.data() + text.size(),
                  exponent);

  std::string out = value < 0 ? "-" : "";
  if (exponent >= 15 || exponent < -5) {
    out += digits[0];
    if (digits.size() > 1) out += '.' + digits.substr(1);
    const std::string power = std::to_string(std::abs(exponent));
    return out + (exponent < 0 ? "E-" : "E+") + (power.size() < 2 ? "0" : "") + power;
  }
  if (exponent < 0) return out + "0." + std::string(-exponent - 1, '0') + digits;
  const size_t whole = static_cast<size_t>(exponent) + 1;
  if (digits.size() <= whole) return out + digits + std::string(whole - digits.size(), '0');
  return out + digits.substr(0, whole) + '.' + digits.substr(whole);
}

std::string ExactNumberText(double value) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

}  // namespace runtime
