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

unsigned int digits(char (&buffer)[kIntegerBuffer], std::uint32_t magnitude, bool minus,
                    unsigned int radix, const char* who) {
  if (radix < 2 || radix > 36) refuse(who, "radix " + std::to_string(radix) + " is outside 2 to 36");
  char reversed[33];
  unsigned int n = 0;
  do {
    const unsigned int d = magnitude % radix;
    reversed[n++] = static_cast<char>(d < 10 ? '0' + d : 'a' + d - 10);
    magnitude /= radix;
  } while (magnitude != 0);
  const unsigned int length = n + (minus ? 1u : 0u);
  if (length > kIntegerBuffer - 1) {
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

unsigned int signedText(char (&buffer)[kIntegerBuffer], long long value, unsigned int radix,
                        const char* who) {
  if (value < INT32_MIN || value > INT32_MAX) {
    refuse(who, std::to_string(value) + " is outside the 32-bit range");
  }
  const std::int32_t v = static_cast<std::int32_t>(value);
  // A "-" only in radix 10; other radices show the two's complement bits.
  if (radix == 10 && v < 0) {
    return digits(buffer, static_cast<std::uint32_t>(-static_cast<std::int64_t>(v)), true, radix,
                  who);
  }
  return digits(buffer, static_cast<std::uint32_t>(v), false, radix, who);
}

unsigned int unsignedText(char (&buffer)[kIntegerBuffer], unsigned long long value,
                          unsigned int radix, const char* who) {
  if (value > UINT32_MAX) refuse(who, std::to_string(value) + " is outside the 32-bit range");
  return digits(buffer, static_cast<std::uint32_t>(value), false, radix, who);
}

unsigned int floatText(char (&buffer)[kFloatBuffer], double value, const char* who) {
  const std::to_chars_result r =
      std::to_chars(buffer, buffer + kFloatBuffer - 1, value, std::chars_format::fixed, 6);
  if (r.ec != std::errc()) refuse(who, "the number's text is longer than 23 characters");
  *r.ptr = '\0';
  return static_cast<unsigned int>(r.ptr - buffer);
}

}  // namespace corvane_xml_detail
