#include "runtime/Date.h"

#include <cmath>
#include <cstdio>

#include "runtime/Error.h"

namespace runtime {
namespace {

constexpr int64_t kSecondsPerDay = 86400;
// Serial day 0 (1899-12-30) counted from 1970-01-01.
constexpr int64_t kEpochOffset = 25569;

int64_t FloorDiv(int64_t a, int64_t b) {
  return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}

// Days since 1970-01-01 of a proleptic Gregorian date (H. Hinnant's algorithm).
int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = FloorDiv(y, 400);
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, DateParts& parts) {
  z += 719468;
  const int64_t era = FloorDiv(z, 146097);
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  parts.day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  parts.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  parts.year = static_cast<int>(era * 400 + yoe + (parts.month <= 2));
}

// Serial days of 0100-01-01 and of 10000-01-01: the dates the system can hold.
const double kFirstDay = static_cast<double>(DaysFromCivil(100, 1, 1) + kEpochOffset);
const double kEndDay = static_cast<double>(DaysFromCivil(10000, 1, 1) + kEpochOffset);

// Before day 0 the serial's fraction still counts forward from midnight (-1.25 is
// 1899-12-29 06:00); arithmetic works on a continuous "linear" day count instead.
double ToLinear(double serial) {
  if (serial >= 0) return serial;
  const double day = std::trunc(serial);
  return day + (day - serial);
}

double FromLinear(double linear) {
  if (linear >= 0) return linear;
  const double day = std::floor(linear);
  return day - (linear - day);
}

double CheckedLinear(Date date) {
  const double linear = ToLinear(date.serial);
  if (!(linear >= kFirstDay && linear < kEndDay)) throw Error(kOverflow);
  return linear;
}

int64_t Milliseconds(Date date) {
  return std::llround(CheckedLinear(date) * 86400000.0);
}

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

std::string FormatParts(const char* format, int a, int b, int c) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, format, a, b, c);
  return buffer;
}

std::string DateText(const DateParts& p) {
  return FormatParts("%04d-%02d-%02d", p.year, p.month, p.day);
}

std::string TimeText(const DateParts& p) {
  return FormatParts("%02d:%02d:%02d", p.hour, p.minute, p.second);
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

// A hand-written reader: the accepted forms are few and must not depend on the locale.
class DateReader {
 public:
  explicit DateReader(std::string_view text) : text_(text) {}

  std::optional<Date> Read() {
    if (Number(4, 4, parts_.year) && Char('-')) {
      if (!Number(2, 2, parts_.month) || !Char('-') || !Number(2, 2, parts_.day)) return {};
      if (!AtEnd() && !((Char('T') || Blanks()) && Time())) return {};
    } else if (Restart() && Number(1, 2, parts_.month) && Char('/')) {
      if (!Number(1, 2, parts_.day) || !Char('/') || !Number(4, 4, parts_.year)) return {};
      if (!AtEnd() && !(Blanks() && Time())) return {};
    } else if (!(Restart() && Time())) {
      return {};
    }
    if (!AtEnd() || !Valid()) return {};
    return Date{FromLinear(ToLinear(MakeDate(parts_).serial) + fraction_ / kSecondsPerDay)};
  }

 private:
  bool Restart() {
    pos_ = 0;
    parts_ = DateParts{};
    return true;
  }

  bool AtEnd() const { return pos_ == text_.size(); }

  bool Char(char c) {
    if (AtEnd() || text_[pos_] != c) return false;
    ++pos_;
    return true;
  }

  bool Blanks() {
    const size_t start = pos_;
    while (!AtEnd() && IsBlank(text_[pos_])) ++pos_;
    return pos_ > start;
  }

  bool Number(int min_digits, int max_digits, int& value) {
    int count = 0;
    value = 0;
    while (count < max_digits && !AtEnd() && text_[pos_] >= '0' && text_[pos_] <= '9') {
      value = value * 10 + (text_[pos_++] - '0');
      ++count;
    }
    return count >= min_digits;
  }

  // h[h]:mm[:ss[.f...]] with an optional AM or PM after optional blanks.
  bool Time() {
    if (!Number(1, 2, parts_.hour) || !Char(':') || !Number(2, 2, parts_.minute)) return false;
    if (Char(':')) {
      if (!Number(2, 2, parts_.second)) return false;
      if (Char('.')) {
        double scale = 0.1;
        const size_t start = pos_;
        for (; !AtEnd() && text_[pos_] >= '0' && text_[pos_] <= '9'; ++pos_, scale /= 10) {
          fraction_ += (text_[pos_] - '0') * scale;
        }
        if (pos_ == start) return false;
      }
    }
    const size_t before = pos_;
    Blanks();
    if (text_.size() - pos_ >= 2 && (text_[pos_ + 1] == 'M' || text_[pos_ + 1] == 'm')) {
      const char first = text_[pos_];
      if (first == 'A' || first == 'a') meridiem_ = 'A';
      if (first == 'P' || first == 'p') meridiem_ = 'P';
    }
    if (meridiem_) {
      pos_ += 2;
    } else {
      pos_ = before;
    }
    return true;
  }

  bool Valid() {
    DateParts& p = parts_;
    if (p.year < 100 || p.year > 9999 || p.month < 1 || p.month > 12) return false;
    if (p.day < 1 || p.day > DaysInMonth(p.year, p.month)) return false;
    if (p.minute > 59 || p.second > 59) return false;
    if (!meridiem_) return p.hour <= 23;
    if (p.hour < 1 || p.hour > 12) return false;
    p.hour = p.hour % 12 + (meridiem_ == 'P' ? 12 : 0);
    return true;
  }

  std::string_view text_;
  size_t pos_ = 0;
  DateParts parts_;
  double fraction_ = 0;
  char meridiem_ = 0;
};

}  // namespace

DateParts SplitDate(Date date) {
  const int64_t seconds = std::llround(CheckedLinear(date) * kSecondsPerDay);
  const int64_t days = FloorDiv(seconds, kSecondsPerDay);
  const int64_t of_day = seconds - days * kSecondsPerDay;
  DateParts parts;
  CivilFromDays(days - kEpochOffset, parts);
  parts.hour = static_cast<int>(of_day / 3600);
  parts.minute = static_cast<int>(of_day / 60 % 60);
  parts.second = static_cast<int>(of_day % 60);
  return parts;
}

Date MakeDate(const DateParts& parts) {
  // Out-of-range months, days and times carry over, as date arithmetic expects.
  const int64_t month0 = int64_t{parts.month} - 1;
  const int64_t year = parts.year + FloorDiv(month0, 12);
  const int64_t month = month0 - FloorDiv(month0, 12) * 12 + 1;
  const int64_t seconds = int64_t{parts.hour} * 3600 + int64_t{parts.minute} * 60 + parts.second;
  const int64_t days = DaysFromCivil(year, month, 1) + parts.day - 1 + kEpochOffset +
                       FloorDiv(seconds, kSecondsPerDay);
  const double linear =
      static_cast<double>(days) +
      static_cast<double>(seconds - FloorDiv(seconds, kSecondsPerDay) * kSecondsPerDay) /
          kSecondsPerDay;
  if (!(linear >= kFirstDay && linear < kEndDay)) throw Error(kOverflow);
  return Date{FromLinear(linear)};
}

std::string FormatGeneralDate(Date date) {
  const DateParts p = SplitDate(date);
  if (p.year == 1899 && p.month == 12 && p.day == 30) return TimeText(p);
  if (p.hour == 0 && p.minute == 0 && p.second == 0) return DateText(p);
  return DateText(p) + ' ' + TimeText(p);
}

std::string FormatShortDate(Date date) {
  return DateText(SplitDate(date));
}

std::string FormatLongTime(Date date) {
  return TimeText(SplitDate(date));
}

std::optional<Date> ParseDate(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return DateReader(text).Read();
}

int64_t DateDiffSeconds(Date from, Date to) {
  return FloorDiv(Milliseconds(to), 1000) - FloorDiv(Milliseconds(from), 1000);
}

int64_t DateDiffMinutes(Date from, Date to) {
  return FloorDiv(Milliseconds(to), 60000) - FloorDiv(Milliseconds(from), 60000);
}

int64_t EpochSeconds(Date date) {
  return std::llround((CheckedLinear(date) - static_cast<double>(kEpochOffset)) * kSecondsPerDay);
}

int64_t EpochMilliseconds(Date date) {
  return std::llround((CheckedLinear(date) - static_cast<double>(kEpochOffset)) * kSecondsPerDay *
                      1000.0);
}

int32_t DateToSerialTime(Date date) {
  const int64_t seconds = EpochSeconds(date);
  if (seconds < 0 || seconds > int64_t{UINT32_MAX}) throw Error(kOverflow);
  return static_cast<int32_t>(static_cast<uint32_t>(seconds));
}

Date SerialTimeToDate(int32_t serial) {
  const uint32_t seconds = static_cast<uint32_t>(serial);
  return Date{FromLinear(static_cast<double>(kEpochOffset) +
                         static_cast<double>(seconds) / kSecondsPerDay)};
}

}  // namespace runtime
