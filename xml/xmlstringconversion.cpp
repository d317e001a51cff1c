// xml/xmlstringconversion.cpp: XML escaping and unescaping.
#include "xml/xmlstringconversion.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "xml/detail/xmlescape.h"

namespace {

// What each byte becomes; length 0 for bytes that pass unchanged.
struct Replacement {
  unsigned char length = 0;
  unsigned char text[7] = {};
};

struct EscapeTable {
  Replacement r[256];
  constexpr void set(int b, const char* text) {
    unsigned char n = 0;
    while (text[n] != '\0') {
      r[b].text[n] = static_cast<unsigned char>(text[n]);
      ++n;
    }
    r[b].length = n;
  }
  constexpr EscapeTable() : r() {
    for (int b = 1; b < 0x20; ++b) {
      if (b != '\t') set(b, " ");
    }
    set(0x0A, "&#xA;");
    set(0x0D, "&#xD;");
    set(0x22, "&quot;");
    set(0x26, "&amp;");
    set(0x27, "&apos;");
    set(0x3C, "&lt;");
    set(0x3E, "&gt;");
    for (int b = 0x80; b < 0x100; ++b) {
      r[b].length = 2;
      r[b].text[0] = static_cast<unsigned char>(0xC0 + (b >> 6));
      r[b].text[1] = static_cast<unsigned char>(0x80 + (b & 0x3F));
    }
  }
};

constexpr EscapeTable kEscape;

// Whether the byte ends the scan: the terminator or a byte that needs escaping.
inline bool stops(unsigned char c) { return c == 0 || kEscape.r[c].length != 0; }

#if defined(__SSE2__)

// Bit i set when byte i of v is the terminator or needs escaping.
inline unsigned stopMask(__m128i v) {
  // Signed compare: 0x00-0x1F and, being negative, 0x80-0xFF are below 0x20.
  const __m128i low = _mm_andnot_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('\t')),
                                       _mm_cmplt_epi8(v, _mm_set1_epi8(0x20)));
  const __m128i quote = _mm_cmpeq_epi8(v, _mm_set1_epi8('"'));
  const __m128i ampApos = _mm_cmpeq_epi8(_mm_or_si128(v, _mm_set1_epi8(0x01)), _mm_set1_epi8(0x27));
  const __m128i ltGt = _mm_cmpeq_epi8(_mm_or_si128(v, _mm_set1_epi8(0x02)), _mm_set1_epi8(0x3E));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(low, quote), _mm_or_si128(ampApos, ltGt))));
}

// The first byte at or after s that stops the scan. Loads are 16-byte aligned, so they
// never cross into another page even when they read past the terminator; bytes before
// s in the first block are masked off. Such reads stay inside the terminator's
// aligned block, which the address sanitizer cannot know, hence the exemption.
__attribute__((no_sanitize_address)) const char* findStop(const char* s) {
  const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(s) & 15u;
  const char* block = s - offset;
  unsigned mask = stopMask(_mm_load_si128(reinterpret_cast<const __m128i*>(block))) &
                  (0xFFFFu << offset);
  while (mask == 0) {
    block += 16;
    mask = stopMask(_mm_load_si128(reinterpret_cast<const __m128i*>(block)));
  }
  return block + __builtin_ctz(mask);
}

#else

const char* findStop(const char* s) {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s);
  while (!stops(*p)) ++p;
  return reinterpret_cast<const char*>(p);
}

#endif

// Texts whose worst case fits here are escaped without a heap allocation.
constexpr std::size_t kStackBuffer = 2048;

}  // namespace

namespace corvane_xml_detail {

const char* escapeXml(const char* text, ACE_CString& out, std::size_t& length) {
  const char* stop = findStop(text);
  if (*stop == '\0') {
    length = static_cast<std::size_t>(stop - text);
    return text;
  }
  // Every byte may grow to six: one buffer for the worst case.
  const std::size_t inputLength = static_cast<std::size_t>(stop - text) + std::strlen(stop);
  const std::size_t capacity = 6 * inputLength + 1;
  char local[kStackBuffer];
  std::unique_ptr<char[]> heap;
  char* buffer = local;
  if (capacity > kStackBuffer) {
    heap.reset(new char[capacity]);
    buffer = heap.get();
  }
  char* p = buffer;
  const char* run = text;
  do {
    const std::size_t n = static_cast<std::size_t>(stop - run);
    std::memcpy(p, run, n);
    p += n;
    const Replacement& r = kEscape.r[static_cast<unsigned char>(*stop)];
    std::memcpy(p, r.text, 6);  // the table rows are 7 bytes; only r.length count
    p += r.length;
    run = stop + 1;
    stop = findStop(run);
  } while (*stop != '\0');
  const std::size_t n = static_cast<std::size_t>(stop - run);
  std::memcpy(p, run, n);
  p += n;
  length = static_cast<std::size_t>(p - buffer);
  out.set(buffer, length, true);
  return out.c_str();
}

}  // namespace corvane_xml_detail

const char* ConvertStringToXmlString(const char* text, ACE_CString& out) {
  std::size_t length;
  return corvane_xml_detail::escapeXml(text, out, length);
}

void ConvertXmlStringToString(const char* text, ACE_CString& out) {
  static const struct {
    const char* entity;
    std::size_t length;
    char character;
  } kKnown[] = {{"&lt;", 4, '<'},   {"&#xA;", 5, '\n'}, {"&gt;", 4, '>'},   {"&amp;", 5, '&'},
                {"&#xD;", 5, '\r'}, {"&apos;", 6, '\''}, {"&quot;", 6, '"'}};
  out.clear(false);
  if (text == nullptr) return;
  const std::size_t total = std::strlen(text);
  std::string result;
  result.reserve(total);
  const char* p = text;
  const char* const end = text + total;
  while (p < end) {
    const char* amp = static_cast<const char*>(std::memchr(p, '&', static_cast<std::size_t>(end - p)));
    if (amp == nullptr) {
      result.append(p, end);
      break;
    }
    result.append(p, amp);
    const char* semi = static_cast<const char*>(std::memchr(amp, ';', static_cast<std::size_t>(end - amp)));
    const char* candidateEnd = semi != nullptr ? semi + 1 : end;
    const std::size_t candidateLength = static_cast<std::size_t>(candidateEnd - amp);
    bool matched = false;
    for (const auto& known : kKnown) {
      if (candidateLength == known.length && std::memcmp(amp, known.entity, known.length) == 0) {
        result.push_back(known.character);
        matched = true;
        break;
      }
    }
    if (!matched) result.append(amp, candidateEnd);
    p = candidateEnd;
  }
  out.set(result.data(), result.size(), true);
}
