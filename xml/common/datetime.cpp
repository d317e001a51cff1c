// xml/common/datetime.cpp: BDate, BTime, BDateTime.
#include <ctime>
#include <istream>
#include <ostream>
#include <string>

#include "xml/common/common.h"

namespace {

bool isLeapYear(unsigned int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

unsigned int daysInMonth(unsigned int year, unsigned int month) {
  static const unsigned char kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29u : kDays[month - 1];
}

// Reads n decimal digits at s; false when one is not a digit.
bool readDigits(const char* s, int n, unsigned int& out) {
  unsigned int v = 0;
  for (int i = 0; i < n; ++i) {
    if (s[i] < '0' || s[i] > '9') return false;
    v = v * 10 + static_cast<unsigned int>(s[i] - '0');
  }
  out = v;
  return true;
}

void writeNumber(std::ostream& out, unsigned int value, int width) {
  char digits[16];
  int n = 0;
  do {
    digits[n++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value > 0 && n < 16);
  for (int i = n; i < width; ++i) out.put('0');
  while (n > 0) out.put(digits[--n]);
}

}  // namespace

// ---------------------------------------------------------------------------------

BDate::BDate(unsigned int year, unsigned int month, unsigned int day) noexcept
    : value_(year <= 0xFFFFu && month <= 0xFFu && day <= 0xFFu
                 ? (year << 16) | (month << 8) | day
                 : 0u) {}

bool BDate::IsValid() const noexcept {
  const unsigned int year = GetYear();
  const unsigned int month = GetMonth();
  const unsigned int day = GetDay();
  return year >= 1 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 &&
         day <= daysInMonth(year, month);
}

std::istream& operator>>(std::istream& in, BDate& d) {
  std::string text;
  in >> text;
  unsigned int year = 0;
  unsigned int month = 0;
  unsigned int day = 0;
  bool ok = false;
  if (text.size() == 10 && text[4] == '-' && text[7] == '-') {
    ok = readDigits(text.data(), 4, year) && readDigits(text.data() + 5, 2, month) &&
         readDigits(text.data() + 8, 2, day);
  } else if (text.size() == 8) {
    ok = readDigits(text.data(), 4, year) && readDigits(text.data() + 4, 2, month) &&
         readDigits(text.data() + 6, 2, day);
  }
  d = ok ? BDate(year, month, day) : BDate();
  if (!d.IsValid()) in.setstate(std::ios::failbit);
  return in;
}

std::ostream& operator<<(std::ostream& out, const BDate& d) {
  writeNumber(out, d.GetYear(), 4);
  out.put('-');
  writeNumber(out, d.GetMonth(), 2);
  out.put('-');
  writeNumber(out, d.GetDay(), 2);
  return out;
}

// ---------------------------------------------------------------------------------

BTime::BTime(unsigned int milliseconds) noexcept
    : hour_(static_cast<int>(milliseconds / 3600000u)),
      minute_(static_cast<int>(milliseconds / 60000u % 60u)),
      second_(static_cast<int>(milliseconds / 1000u % 60u)),
      millisecond_(static_cast<int>(milliseconds % 1000u)) {}

bool BTime::IsValid() const noexcept {
  return hour_ >= 0 && hour_ <= 23 && minute_ >= 0 && minute_ <= 59 && second_ >= 0 &&
         second_ <= 59 && millisecond_ >= 0 && millisecond_ <= 999;
}

std::ostream& operator<<(std::ostream& out, const BTime& t) {
  auto field = [&out](int v, int width) {
    if (v < 0) {
      out.put('-');
      v = -v;
    }
    writeNumber(out, static_cast<unsigned int>(v), width);
  };
  field(t.GetHour(), 2);
  out.put(':');
  field(t.GetMinute(), 2);
  out.put(':');
  field(t.GetSecond(), 2);
  if (t.GetMillisecond() != 0) {
    out.put('.');
    field(t.GetMillisecond(), 3);
  }
  return out;
}

// ---------------------------------------------------------------------------------

bool BDateTime::GetTimeZoneBias(long& bias) {
  const std::time_t now = std::time(nullptr);
  if (now == static_cast<std::time_t>(-1)) return false;
  std::tm local;
  if (localtime_r(&now, &local) == nullptr) return false;
  // tm_gmtoff is seconds east of Greenwich; the bias counts minutes westwards.
  bias = -(local.tm_gmtoff / 60);
  return true;
}
