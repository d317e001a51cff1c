// xml/writer/numbertext.cpp: the number texts of XmlAttributes and XmlEmitter.
//
// The document formats are 32-bit: a long keeps the meaning of an int (so -1 in radix
// 16 is "ffffffff" whatever the width of long), and a long outside the 32-bit range is
// refused rather than cut. Floating-point texts go through std::to_chars, which writes
// what printf's "%f" writes in the "C" locale, whatever locale the process runs in.
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "xml/writer/detail/pieces.h"

namespace corvane_xml_detail {

namespace {

[[noreturn]] void refuse(const char* who, const std::string& why) {
  throw std::out_of_range(std::string(who) + ": " + why);
}

// Integer texts have at most 15 characters, sign included.
constexpr unsigned int kIntegerLimit = 15;
// Floating-point texts have at most 23.
constexpr unsigned int kFloatLimit = 23;

unsigned int digits(char* buffer, std::uint32_t magnitude, bool minus, unsigned int radix,
                    const char* who) {
  if (radix < 2 || radix > 36) refuse(who, "radix " + std::to_string(radix) + " is outside 2 to 36");
  char reversed[33];
  unsigned int n = 0;
  do {
    const unsigned int d = magnitude % radix;
    reversed[n++] = static_cast<char>(d < 10 ? '0' + d : 'a' + d - 10);
    magnitude /= radix;
  } while (magnitude != 0);
  const unsigned int length = n + (minus ? 1u : 0u);
  if (length > kIntegerLimit) {
    refuse(who, "the number needs " + std::to_string(length) + " characters in radix " +
                    std::to_string(radix) + ", more than 15");
  }
  char* p = buffer;
  if (minus) *p++ = '-';
  while (n > 0) *p++ = reversed[--n];
  *p = '\0';
  return length;
}

}  // namespace

NumberText NumberText::ofSigned(long long value, unsigned int radix, const char* who) {
  if (value < INT32_MIN || value > INT32_MAX) {
    refuse(who, std::to_string(value) + " is outside the 32-bit range");
  }
  const std::int32_t v = static_cast<std::int32_t>(value);
  NumberText n;
  // A "-" only in radix 10; other radices show the two's complement bits.
  if (radix == 10 && v < 0) {
    n.length = digits(n.text, static_cast<std::uint32_t>(-static_cast<std::int64_t>(v)), true,
                      radix, who);
  } else {
    n.length = digits(n.text, static_cast<std::uint32_t>(v), false, radix, who);
  }
  return n;
}

NumberText NumberText::ofUnsigned(unsigned long long value, unsigned int radix, const char* who) {
  if (value > UINT32_MAX) refuse(who, std::to_string(value) + " is outside the 32-bit range");
  NumberText n;
  n.length = digits(n.text, static_cast<std::uint32_t>(value), false, radix, who);
  return n;
}

NumberText NumberText::ofFloat(double value, const char* who) {
  NumberText n;
  const std::to_chars_result r =
      std::to_chars(n.text, n.text + kFloatLimit, value, std::chars_format::fixed, 6);
  if (r.ec != std::errc()) refuse(who, "the number's text is longer than 23 characters");
  *r.ptr = '\0';
  n.length = static_cast<unsigned int>(r.ptr - n.text);
  return n;
}

}  // namespace corvane_xml_detail
