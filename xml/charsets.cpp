// xml/charsets.cpp: conversions between UTF-8, UTF-16 and Windows-1252, and Base64 text.
//
// The system code page is Windows-1252 on every platform, so the conversions are the
// library's own loops over small tables rather than calls into a locale-dependent
// converter: they sit on the parse path of every element and attribute.
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "xml/detail/charsets.h"
#include "xml/detail/log.h"
#include "xml/xmlexception.h"
#include "xml/xmlstringconversion.h"

namespace {

constexpr char16_t kReplacementCharacter = 0xFFFD;

// Windows-1252 for a UTF-16 code unit that is not part of a surrogate pair, or -1 when
// the code page lacks it. 0x00-0x7F and 0xA0-0xFF map to themselves; 0x80-0x9F hold 27
// other characters and five undefined bytes (0x81, 0x8D, 0x8F, 0x90, 0x9D).
inline int toCp1252(char16_t u) {
  if (u < 0x80 || (u >= 0xA0 && u <= 0xFF)) return u;
  switch (u) {
    case 0x20AC: return 0x80;
    case 0x201A: return 0x82;
    case 0x0192: return 0x83;
    case 0x201E: return 0x84;
    case 0x2026: return 0x85;
    case 0x2020: return 0x86;
    case 0x2021: return 0x87;
    case 0x02C6: return 0x88;
    case 0x2030: return 0x89;
    case 0x0160: return 0x8A;
    case 0x2039: return 0x8B;
    case 0x0152: return 0x8C;
    case 0x017D: return 0x8E;
    case 0x2018: return 0x91;
    case 0x2019: return 0x92;
    case 0x201C: return 0x93;
    case 0x201D: return 0x94;
    case 0x2022: return 0x95;
    case 0x2013: return 0x96;
    case 0x2014: return 0x97;
    case 0x02DC: return 0x98;
    case 0x2122: return 0x99;
    case 0x0161: return 0x9A;
    case 0x203A: return 0x9B;
    case 0x0153: return 0x9C;
    case 0x017E: return 0x9E;
    case 0x0178: return 0x9F;
    default: return -1;
  }
}

inline bool isHighSurrogate(char16_t u) { return u >= 0xD800 && u <= 0xDBFF; }
inline bool isLowSurrogate(char16_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

// Converts n units at text to Windows-1252 at out, one byte per character ("?" for the
// characters the code page lacks; a surrogate pair is one character). Returns the number
// of bytes written. When lowBytes is set, a character the code page lacks keeps the low
// byte of its unit instead (its ISO 8859-1 value where it has one).
#if defined(__SSE2__)
// Whether the units at text (eight, or four) are all US-ASCII.
inline bool ascii8(const XMLCh* text) {
  const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  const __m128i high = _mm_and_si128(units, _mm_set1_epi16(static_cast<short>(0xFF80)));
  return _mm_movemask_epi8(_mm_cmpeq_epi16(high, _mm_setzero_si128())) == 0xFFFF;
}
inline bool ascii4(const XMLCh* text) {
  std::uint64_t units;
  std::memcpy(&units, text, sizeof units);
  return (units & 0xFF80FF80FF80FF80u) == 0;
}
// Writes the bytes of eight (or four) US-ASCII units.
inline void store8(char* out, const XMLCh* text) {
  const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(units, units));
}
inline void store4(char* out, const XMLCh* text) {
  const __m128i units = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text));
  const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(units, units));
  std::memcpy(out, &bytes, 4);
}
#endif

// Converts n units at text to Windows-1252 at out, one byte per character ("?" for the
// characters the code page lacks; a surrogate pair is one character). Returns the number
// of bytes written. When lowBytes is set, a character the code page lacks keeps the low
// byte of its unit instead (its ISO 8859-1 value where it has one).
std::size_t toAnsi(const XMLCh* text, std::size_t n, char* out, bool lowBytes) {
  char* p = out;
  std::size_t i = 0;
  while (i < n) {
#if defined(__SSE2__)
    // Runs of US-ASCII, the bulk of names and texts, go eight units at a time. The last
    // units of a text go as one block that may reach back over units already converted:
    // when that block is all US-ASCII, those units gave one byte each, the same again.
    const std::size_t left = n - i;
    if (left >= 8) {
      if (ascii8(text + i)) {
        store8(p, text + i);
        p += 8;
        i += 8;
        continue;
      }
    } else if (n >= 8 && ascii8(text + n - 8)) {
      store8(p + left - 8, text + n - 8);
      p += left;
      break;
    } else if (left >= 4 && ascii4(text + i) && ascii4(text + n - 4)) {
      store4(p, text + i);
      store4(p + left - 4, text + n - 4);
      p += left;
      break;
    }
#endif
    const char16_t u = text[i];
    const int b = toCp1252(u);
    if (b >= 0) {
      *p++ = static_cast<char>(b);
    } else if (isHighSurrogate(u) && i + 1 < n && isLowSurrogate(text[i + 1])) {
      // The pair's one "?" takes the first unit's place; the fallback below never
      // restores it, since the pair stands for a character outside any 8-bit code.
      *p++ = '?';
      ++i;
    } else {
      *p++ = lowBytes ? static_cast<char>(u & 0xFF) : '?';
    }
    ++i;
  }
  return static_cast<std::size_t>(p - out);
}

// UTF-16 code point at text[i] (advancing i past it); a lone surrogate gives U+FFFD.
inline char32_t nextCodePoint(const XMLCh* text, std::size_t n, std::size_t& i) {
  const char16_t u = text[i++];
  if (isHighSurrogate(u) && i < n && isLowSurrogate(text[i])) {
    return 0x10000 + ((static_cast<char32_t>(u) - 0xD800) << 10) + (text[i++] - 0xDC00);
  }
  if (isHighSurrogate(u) || isLowSurrogate(u)) return kReplacementCharacter;
  return u;
}

inline char* putUtf8(char32_t c, char* p) {
  if (c < 0x80) {
    *p++ = static_cast<char>(c);
  } else if (c < 0x800) {
    *p++ = static_cast<char>(0xC0 | (c >> 6));
    *p++ = static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *p++ = static_cast<char>(0xE0 | (c >> 12));
    *p++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *p++ = static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *p++ = static_cast<char>(0xF0 | (c >> 18));
    *p++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    *p++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *p++ = static_cast<char>(0x80 | (c & 0x3F));
  }
  return p;
}

inline std::size_t utf8Length(char32_t c) { return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4; }

// Decodes one UTF-8 sequence at s (n bytes left, n > 0): sets c and returns its length.
// An ill-formed sequence gives U+FFFD for its maximal well-formed prefix (at least one
// byte), as Unicode recommends.
std::size_t decodeUtf8(const unsigned char* s, std::size_t n, char32_t& c) {
  const unsigned char b = s[0];
  if (b < 0x80) {
    c = b;
    return 1;
  }
  std::size_t need;
  char32_t value;
  unsigned char lo = 0x80, hi = 0xBF;  // the allowed range of the second byte
  if (b >= 0xC2 && b <= 0xDF) {
    need = 1;
    value = b & 0x1F;
  } else if (b >= 0xE0 && b <= 0xEF) {
    need = 2;
    value = b & 0x0F;
    if (b == 0xE0) lo = 0xA0;  // no overlong forms
    if (b == 0xED) hi = 0x9F;  // no surrogates
  } else if (b >= 0xF0 && b <= 0xF4) {
    need = 3;
    value = b & 0x07;
    if (b == 0xF0) lo = 0x90;
    if (b == 0xF4) hi = 0x8F;  // nothing past U+10FFFF
  } else {
    c = kReplacementCharacter;
    return 1;
  }
  std::size_t i = 1;
  for (; i <= need; ++i) {
    if (i >= n) break;
    const unsigned char t = s[i];
    if (t < (i == 1 ? lo : 0x80) || t > (i == 1 ? hi : 0xBF)) break;
    value = (value << 6) | (t & 0x3F);
  }
  if (i <= need) {
    c = kReplacementCharacter;
    return i;
  }
  c = value;
  return need + 1;
}

}  // namespace

namespace corvane_xml_detail {

namespace {

void intoString(const XMLCh* text, ACE_CString& out, bool lowBytes) {
  const std::size_t n = text != nullptr ? wideLength(text) : 0;
  char local[512];
  std::string heap;
  char* buffer = local;
  if (n > sizeof local) {
    heap.resize(n);
    buffer = &heap[0];
  }
  out.set(buffer, toAnsi(text, n, buffer, lowBytes), true);
}

}  // namespace

void wideToAnsi(const XMLCh* text, ACE_CString& out) { intoString(text, out, false); }

void wideToAnsiKeepingLowBytes(const XMLCh* text, ACE_CString& out) { intoString(text, out, true); }

std::size_t wideToAnsi(const XMLCh* text, std::size_t n, char* out) {
  return toAnsi(text, n, out, false);
}

std::size_t wideToAnsiKeepingLowBytes(const XMLCh* text, std::size_t n, char* out) {
  return toAnsi(text, n, out, true);
}

void appendAnsiAsUtf8(const char* text, std::size_t n, std::string& out) {
  // The characters of 0x80-0x9F; 0xFFFD for the five bytes the code page leaves undefined.
  static constexpr char16_t kHigh[32] = {
      0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
      0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD,
      0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
      0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};
  const std::size_t start = out.size();
  out.resize(start + 3 * n);  // three bytes per byte at most
  char* p = &out[0] + start;
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned char b = s[i];
    if (b < 0x80) {
      *p++ = static_cast<char>(b);
    } else {
      p = putUtf8(b >= 0xA0 ? char32_t(b) : char32_t(kHigh[b - 0x80]), p);
    }
  }
  out.resize(static_cast<std::size_t>(p - out.data()));
}

bool isAscii(const char* text, std::size_t n) {
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    std::uint64_t w;
    std::memcpy(&w, s + i, 8);
    if ((w & 0x8080808080808080ULL) != 0) return false;
  }
  for (; i < n; ++i) {
    if (s[i] >= 0x80) return false;
  }
  return true;
}

bool isWellFormedUtf8(const char* text, std::size_t n) {
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  std::size_t i = 0;
  while (i < n) {
    // Runs of ASCII are the common case: eight bytes at a time.
    while (i + 8 <= n) {
      std::uint64_t w;
      std::memcpy(&w, s + i, 8);
      if ((w & 0x8080808080808080ULL) != 0) break;
      i += 8;
    }
    if (i == n) break;
    if (s[i] < 0x80) {
      ++i;
      continue;
    }
    char32_t c;
    const std::size_t len = decodeUtf8(s + i, n - i, c);
    if (c == kReplacementCharacter && !(len == 3 && s[i] == 0xEF && s[i + 1] == 0xBF && s[i + 2] == 0xBD)) {
      return false;
    }
    i += len;
  }
  return true;
}

namespace {

// Appends the n bytes of UTF-8 at text to out, ASCII as it stands and each other sequence
// (ill-formed ones as U+FFFD) through put(code point, where) -> past what it wrote;
// perSequence is the most one sequence may give.
template <class Put>
void appendDecodedUtf8(const char* text, std::size_t n, std::size_t perSequence, std::string& out,
                       Put put) {
  const std::size_t start = out.size();
  out.resize(start + perSequence * n);
  char* p = &out[0] + start;
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  for (std::size_t i = 0; i < n;) {
    if (s[i] < 0x80) {
      *p++ = static_cast<char>(s[i++]);
      continue;
    }
    char32_t c;
    i += decodeUtf8(s + i, n - i, c);
    p = put(c, p);
  }
  out.resize(static_cast<std::size_t>(p - out.data()));
}

}  // namespace

void appendRepairedUtf8(const char* text, std::size_t n, std::string& out) {
  // U+FFFD (three bytes) for one byte at most.
  appendDecodedUtf8(text, n, 3, out, [](char32_t c, char* p) { return putUtf8(c, p); });
}

void appendUtf8AsAnsi(const char* text, std::size_t n, std::string& out) {
  appendDecodedUtf8(text, n, 1, out, [](char32_t c, char* p) {
    const int b = c < 0x10000 ? toCp1252(static_cast<char16_t>(c)) : -1;
    *p = b >= 0 ? static_cast<char>(b) : '?';  // U+FFFD has no byte either
    return p + 1;
  });
}

}  // namespace corvane_xml_detail

using corvane_xml_detail::wideLength;

void ConvertUTF8StringToAnsi(const char* text, ACE_CString& out) {
  if (text == nullptr) return;
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  std::string bytes;
  while (*s != 0) {
    const unsigned char b = *s;
    if (b < 0x80) {
      bytes.push_back(static_cast<char>(b));
      ++s;
      continue;
    }
    if (s[1] == 0) {
      bytes.push_back('\xBF');
      ++s;
      continue;
    }
    std::size_t n = 1;
    while (s[n] != 0 && (s[n] & 0xC0) == 0x80) ++n;
    if (n == 2 && (b & 0xE0) == 0xC0) {
      bytes.push_back(static_cast<char>(((b & 1) << 6) + s[1]));
    } else {
      bytes.push_back('\xBF');
    }
    s += n;
  }
  out.append(bytes.data(), bytes.size());
}

void ConvertUTF8ToWideChar(const ACE_CString& text,
                           Corvane::auto_ptr<XMLCh, Corvane::BasicDelete<XMLCh>>& out) {
  const std::size_t n = text.length();
  // Each byte gives at most one unit (four bytes give at most two), so the buffer of
  // twice the length plus 255 units always holds the result.
  out.reset(new XMLCh[2 * n + 255]);
  XMLCh* p = out.get();
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text.fast_rep());
  for (std::size_t i = 0; i < n;) {
    char32_t c;
    i += decodeUtf8(s + i, n - i, c);
    if (c >= 0x10000) {
      *p++ = static_cast<XMLCh>(0xD800 + ((c - 0x10000) >> 10));
      *p++ = static_cast<XMLCh>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      *p++ = static_cast<XMLCh>(c);
    }
  }
  *p = 0;
}

void ConvertWideCharToAnci(const XMLCh* text, Corvane::auto_ptr<char, Corvane::BasicDelete<char>>& out) {
  const std::size_t n = text != nullptr ? wideLength(text) : 0;
  // One byte per unit at most: the buffer of the length plus 255 always holds it.
  out.reset(new char[n + 255]);
  out.get()[toAnsi(text, n, out.get(), false)] = '\0';
}

void ConvertWideCharToAnsi(const XMLCh* text, Corvane::auto_ptr<char, Corvane::ArrayDelete<char>>& out) {
  const std::size_t n = text != nullptr ? wideLength(text) : 0;
  out.reset(new char[n + 1]);
  out.get()[toAnsi(text, n, out.get(), true)] = '\0';
}

void ConvertWideCharToUTF8(const XMLCh* text, Corvane::auto_ptr<char, Corvane::BasicDelete<char>>& out) {
  const std::size_t n = text != nullptr ? wideLength(text) : 0;
  const std::size_t room = n + 255;
  out.reset(new char[room]);
  std::size_t needed = 1;  // the terminator
  for (std::size_t i = 0; i < n;) needed += utf8Length(nextCodePoint(text, n, i));
  if (needed > room) {
    // The buffer is fixed before converting, as for the platform's converter; E2BIG is
    // what a converter answers when its output buffer is full.
    corvane_xml_detail::logText(LM_ERROR, __LINE__, -1,
                                "XmlStringConversion: Failed to convert wide character to UTF-8: "
                                "error = " + std::to_string(E2BIG) + "\n");
    throw XmlException::ParserError(ACE_CString("XmlStringConversion: Failed to convert from wide character"));
  }
  char* p = out.get();
  for (std::size_t i = 0; i < n;) p = putUtf8(nextCodePoint(text, n, i), p);
  *p = '\0';
}

void ConvertBinToXmlString(const char* data, unsigned int count, ACE_CString& out) {
  Base64Coder coder;
  coder.Encode(out, reinterpret_cast<const unsigned char*>(data), count);
}

void ConvertXmlStringToBin(const ACE_CString& text, Corvane::auto_ptr<char, Corvane::ArrayDelete<char>>& out,
                           unsigned int& count) {
  Base64Coder coder;
  out = coder.Decode(text.c_str(), static_cast<unsigned int>(text.length()), count);
}
