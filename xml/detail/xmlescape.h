// xml/detail/xmlescape.h: the escaper behind ConvertStringToXmlString, for the writer
// (internal).
#ifndef CORVANE_XML_DETAIL_XMLESCAPE_H
#define CORVANE_XML_DETAIL_XMLESCAPE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <ace/SString.h>

namespace corvane_xml_detail {

// The first byte of the zero-terminated text that needs escaping, or its terminator.
const char* findEscape(const char* text);

// Escapes text, whose first byte to escape is stop (not the terminator), into out;
// returns out's text and sets length to its length.
const char* escapeFrom(const char* text, const char* stop, ACE_CString& out, std::size_t& length);

#if defined(__SSE2__)
// Bit i set when byte i needs escaping or is zero (SSE2 only, so that it inlines
// anywhere). A signed compare puts 0x00-0x1F and, being negative, 0x80-0xFF below 0x20.
inline unsigned stopBits(__m128i v) {
  const __m128i low = _mm_andnot_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('\t')),
                                       _mm_cmplt_epi8(v, _mm_set1_epi8(0x20)));
  const __m128i quote = _mm_cmpeq_epi8(v, _mm_set1_epi8('"'));
  const __m128i ampApos = _mm_cmpeq_epi8(_mm_or_si128(v, _mm_set1_epi8(0x01)), _mm_set1_epi8(0x27));
  const __m128i ltGt = _mm_cmpeq_epi8(_mm_or_si128(v, _mm_set1_epi8(0x02)), _mm_set1_epi8(0x3E));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(low, quote), _mm_or_si128(ampApos, ltGt))));
}
#endif

// The first of the n bytes at s that needs escaping or is zero, or s + n. For texts
// whose length is known (the element tree's strings), which are mostly short: a short
// tail is read with one 16-byte load when that cannot cross into another page, its
// bytes past the text masked off; the address sanitizer cannot know that such a read is
// safe, hence the exemption.
__attribute__((no_sanitize_address)) inline const char* findStopN(const char* s, std::size_t n) {
  const char* const end = s + n;
#if defined(__SSE2__)
  for (; end - s >= 16; s += 16) {
    const unsigned bits = stopBits(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)));
    if (bits != 0) return s + __builtin_ctz(bits);
  }
  const std::size_t rest = static_cast<std::size_t>(end - s);
  if (rest == 0) return end;
  if ((reinterpret_cast<std::uintptr_t>(s) & 4095u) <= 4096u - 16u) {
    const unsigned bits = stopBits(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s))) &
                          ((1u << rest) - 1u);
    return bits != 0 ? s + __builtin_ctz(bits) : end;
  }
#endif
  for (; s < end; ++s) {
    const unsigned char c = static_cast<unsigned char>(*s);
    if (c < 0x20 ? c != '\t' : (c >= 0x80 || c == '"' || c == '&' || c == '\'' || c == '<' || c == '>')) {
      return s;
    }
  }
  return end;
}

// As ConvertStringToXmlString, and also gives the length of the returned text.
inline const char* escapeXml(const char* text, ACE_CString& out, std::size_t& length) {
  const char* stop = findEscape(text);
  if (*stop == '\0') {
    length = static_cast<std::size_t>(stop - text);
    return text;
  }
  return escapeFrom(text, stop, out, length);
}

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_DETAIL_XMLESCAPE_H
