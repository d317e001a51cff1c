// fuzz/charsets_fuzz.cpp: the character-set and Base64 conversions of
// xml/xmlstringconversion.h, and their round trips where they must hold:
// - UTF-8 -> UTF-16 -> UTF-8 gives the input back exactly when it is well-formed UTF-8
//   (decided here by a validator of its own), unless the UTF-8 output is too long for
//   its fixed buffer, which must then be refused with XmlException::ParserError;
// - UTF-16 -> UTF-8 -> UTF-16 gives the input back when it has no lone surrogate;
// - UTF-16 -> Windows-1252 gives one byte per character, and keeps bytes 0x00-0x7F and
//   0xA0-0xFF as they are;
// - UTF-8 -> ISO 8859-1 appends at most one byte per input byte;
// - bytes -> Base64 -> bytes is the identity, and decoding any text does not crash.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_support.h"
#include "xml/xmlexception.h"
#include "xml/xmlstringconversion.h"

namespace {

// Whether s is well-formed UTF-8 (Unicode's table 3-7: no overlong forms, no
// surrogates, nothing past U+10FFFF).
bool wellFormed(const std::string& s) {
  std::size_t i = 0;
  while (i < s.size()) {
    const unsigned char b = s[i];
    std::size_t n;
    unsigned char lo = 0x80, hi = 0xBF;
    if (b < 0x80) {
      ++i;
      continue;
    } else if (b >= 0xC2 && b <= 0xDF) {
      n = 1;
    } else if (b >= 0xE0 && b <= 0xEF) {
      n = 2;
      if (b == 0xE0) lo = 0xA0;
      if (b == 0xED) hi = 0x9F;
    } else if (b >= 0xF0 && b <= 0xF4) {
      n = 3;
      if (b == 0xF0) lo = 0x90;
      if (b == 0xF4) hi = 0x8F;
    } else {
      return false;
    }
    if (i + n >= s.size()) return false;  // cut short
    for (std::size_t k = 1; k <= n; ++k) {
      const unsigned char t = s[i + k];
      if (t < (k == 1 ? lo : 0x80) || t > (k == 1 ? hi : 0xBF)) return false;
    }
    i += n + 1;
  }
  return true;
}

std::u16string unitsOf(const XMLCh* p) {
  std::u16string out;
  for (; *p != 0; ++p) out += *p;
  return out;
}

void utf8RoundTrip(const std::string& bytes) {
  Corvane::auto_ptr<XMLCh, Corvane::BasicDelete<XMLCh>> wide;
  ConvertUTF8ToWideChar(ACE_CString(bytes.data(), bytes.size()), wide);
  if (bytes.find('\0') != std::string::npos) return;  // the UTF-16 text ends at the first zero
  Corvane::auto_ptr<char, Corvane::BasicDelete<char>> back;
  try {
    ConvertWideCharToUTF8(wide.get(), back);
  } catch (const XmlException::ParserError&) {
    // Refused only when the output does not fit in the text's units plus 255 bytes.
    FUZZ_CHECK(bytes.size() + 1 > unitsOf(wide.get()).size() + 255 || !wellFormed(bytes));
    return;
  }
  FUZZ_CHECK((bytes == back.get()) == wellFormed(bytes));
}

void utf16RoundTrip(const std::u16string& units) {
  bool loneSurrogate = false;
  std::size_t characters = 0;
  for (std::size_t i = 0; i < units.size(); ++i, ++characters) {
    const char16_t u = units[i];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
      ++i;
    } else if (u >= 0xD800 && u <= 0xDFFF) {
      loneSurrogate = true;
    }
  }

  Corvane::auto_ptr<char, Corvane::BasicDelete<char>> anci;
  ConvertWideCharToAnci(units.c_str(), anci);
  FUZZ_CHECK(std::strlen(anci.get()) == characters);
  Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> ansi;
  ConvertWideCharToAnsi(units.c_str(), ansi);
  FUZZ_CHECK(std::strlen(ansi.get()) <= characters);
  for (std::size_t i = 0; i < units.size() && i < std::strlen(anci.get()); ++i) {
    if (units[i] >= 0xD800) break;  // past a pair the positions no longer line up
    if (units[i] < 0x80 || (units[i] >= 0xA0 && units[i] <= 0xFF)) {
      FUZZ_CHECK(static_cast<unsigned char>(anci.get()[i]) == units[i]);
      FUZZ_CHECK(static_cast<unsigned char>(ansi.get()[i]) == units[i]);
    }
  }

  Corvane::auto_ptr<char, Corvane::BasicDelete<char>> utf8;
  try {
    ConvertWideCharToUTF8(units.c_str(), utf8);
  } catch (const XmlException::ParserError&) {
    FUZZ_CHECK(units.size() > 127);  // 255 spare bytes cover every shorter text
    return;
  }
  const std::string text(utf8.get());
  FUZZ_CHECK(wellFormed(text));
  Corvane::auto_ptr<XMLCh, Corvane::BasicDelete<XMLCh>> back;
  ConvertUTF8ToWideChar(ACE_CString(text.c_str()), back);
  if (!loneSurrogate) FUZZ_CHECK(unitsOf(back.get()) == units);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::quietLog();
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::string narrow(bytes.c_str());  // up to the first zero byte

  ACE_CString latin("x");
  ConvertUTF8StringToAnsi(narrow.c_str(), latin);
  FUZZ_CHECK(latin.length() >= 1 && latin.length() <= narrow.size() + 1 && latin[0] == 'x');
  bool ascii = true;
  for (unsigned char c : narrow) ascii = ascii && c < 0x80;
  if (ascii) FUZZ_CHECK(std::string(latin.c_str() + 1, latin.length() - 1) == narrow);

  utf8RoundTrip(bytes);

  std::u16string units;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    const char16_t u = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
    if (u == 0) break;
    units += u;
  }
  utf16RoundTrip(units);

  ACE_CString base64;
  ConvertBinToXmlString(bytes.data(), static_cast<unsigned int>(bytes.size()), base64);
  Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> decoded;
  unsigned int count = 12345;
  ConvertXmlStringToBin(base64, decoded, count);
  FUZZ_CHECK(count == bytes.size());
  FUZZ_CHECK(count == 0 || std::memcmp(decoded.get(), bytes.data(), count) == 0);
  ConvertXmlStringToBin(ACE_CString(narrow.c_str()), decoded, count);
  FUZZ_CHECK(count <= narrow.size());
  return 0;
}
