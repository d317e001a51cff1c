// xml/xmlstringconversion.cpp: XML escaping and unescaping.
#include "xml/xmlstringconversion.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

#include "xml/detail/xmlescape.h"

namespace {

// What each byte becomes; length 0 for bytes that pass unchanged.
struct Replacement {
  unsigned char text[7] = {};
  unsigned char length = 0;
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

#if defined(__x86_64__) && defined(__GNUC__)

// The scan classifies 16 or 32 bytes at a time with two nibble lookups: a byte stops
// the scan when the class bits of its high nibble and of its low nibble meet.
//   bit 0: 0x00-0x08, 0x0A-0x0F (high nibble 0, any low nibble but 9)
//   bit 1: 0x10-0x1F            bit 2: '"' '&' '\''   bit 3: '<' '>'
//   bit 4: 0x80-0xFF
// Loads are aligned to the vector size, so they never cross into another page even
// when they read past the terminator, and bytes before the start are masked off. Such
// reads stay inside the terminator's aligned block, which the address sanitizer cannot
// know, hence its exemption. The loader picks the AVX2 version where the processor has
// it (function multiversioning), so there is no dispatch state of our own.
#define CORVANE_XML_LO_NIBBLES                                                         \
  0x13, 0x13, 0x17, 0x13, 0x13, 0x13, 0x17, 0x17, 0x13, 0x12, 0x13, 0x13, 0x1B, 0x13, \
      0x1B, 0x13
#define CORVANE_XML_HI_NIBBLES \
  0x01, 0x02, 0x04, 0x08, 0, 0, 0, 0, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10

__attribute__((target("ssse3"))) inline __m128i stopBytes16(__m128i v) {
  const __m128i lo = _mm_setr_epi8(CORVANE_XML_LO_NIBBLES);
  const __m128i hi = _mm_setr_epi8(CORVANE_XML_HI_NIBBLES);
  const __m128i nibble = _mm_set1_epi8(0x0F);
  const __m128i l = _mm_shuffle_epi8(lo, _mm_and_si128(v, nibble));
  const __m128i h = _mm_shuffle_epi8(hi, _mm_and_si128(_mm_srli_epi16(v, 4), nibble));
  return _mm_cmpeq_epi8(_mm_and_si128(l, h), _mm_setzero_si128());  // 0xFF where clean
}

__attribute__((target("ssse3"), no_sanitize_address)) inline unsigned stopMask16(const char* p) {
  return ~static_cast<unsigned>(
             _mm_movemask_epi8(stopBytes16(_mm_load_si128(reinterpret_cast<const __m128i*>(p))))) &
         0xFFFFu;
}

__attribute__((no_sanitize_address)) inline const char* findStopDefault(const char* s) {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s);
  while (!stops(*p)) ++p;
  return reinterpret_cast<const char*>(p);
}

__attribute__((target("ssse3"), no_sanitize_address)) inline const char* findStopSsse3(const char* s) {
  const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(s) & 15u;
  const char* block = s - offset;
  unsigned mask = stopMask16(block) & (0xFFFFu << offset);
  while (mask == 0) {
    block += 16;
    mask = stopMask16(block);
  }
  return block + __builtin_ctz(mask);
}

__attribute__((target("avx2"), no_sanitize_address)) inline unsigned stopMask32(const char* p) {
  const __m256i lo = _mm256_setr_epi8(CORVANE_XML_LO_NIBBLES, CORVANE_XML_LO_NIBBLES);
  const __m256i hi = _mm256_setr_epi8(CORVANE_XML_HI_NIBBLES, CORVANE_XML_HI_NIBBLES);
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i v = _mm256_load_si256(reinterpret_cast<const __m256i*>(p));
  const __m256i l = _mm256_shuffle_epi8(lo, _mm256_and_si256(v, nibble));
  const __m256i h = _mm256_shuffle_epi8(hi, _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble));
  return ~static_cast<unsigned>(
      _mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_and_si256(l, h), _mm256_setzero_si256())));
}

__attribute__((target("avx2"), no_sanitize_address)) inline const char* findStopAvx2(const char* s) {
  const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(s) & 31u;
  const char* block = s - offset;
  unsigned mask = stopMask32(block) & (0xFFFFFFFFu << offset);
  while (mask == 0) {
    block += 32;
    mask = stopMask32(block);
  }
  return block + __builtin_ctz(mask);
}

// The 32 bytes at the 32-byte aligned block: the stop bits in the low half, the bits
// of zero bytes in the high half.
__attribute__((no_sanitize_address)) inline std::uint64_t blockMaskDefault(const char* block) {
  std::uint64_t mask = 0;
  for (unsigned i = 0; i < 32; ++i) {
    if (stops(static_cast<unsigned char>(block[i]))) mask |= std::uint64_t{1} << i;
    if (block[i] == '\0') mask |= std::uint64_t{1} << (32 + i);
  }
  return mask;
}

__attribute__((target("ssse3"), no_sanitize_address)) inline unsigned zeroMask16(const char* p) {
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(
      _mm_load_si128(reinterpret_cast<const __m128i*>(p)), _mm_setzero_si128())));
}

__attribute__((target("ssse3"), no_sanitize_address)) inline std::uint64_t blockMaskSsse3(const char* block) {
  const std::uint64_t zeros = zeroMask16(block) | (zeroMask16(block + 16) << 16);
  return (stopMask16(block) | (stopMask16(block + 16) << 16)) | (zeros << 32);
}

__attribute__((target("avx2"), no_sanitize_address)) inline std::uint64_t blockMaskAvx2(const char* block) {
  const __m256i v = _mm256_load_si256(reinterpret_cast<const __m256i*>(block));
  const std::uint64_t zeros =
      static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_setzero_si256())));
  return stopMask32(block) | (zeros << 32);
}

// The loader picks one version of each per processor (function multiversioning). They
// only forward, since clang does not allow sanitizer attributes on multiversioned
// functions; where the sanitizers are off the bodies are inlined here. clang takes the
// versions only the loader calls for unused functions.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wunused-function"
#endif
__attribute__((target("default"))) const char* findStop(const char* s) { return findStopDefault(s); }
__attribute__((target("ssse3"))) const char* findStop(const char* s) { return findStopSsse3(s); }
__attribute__((target("avx2"))) const char* findStop(const char* s) { return findStopAvx2(s); }
__attribute__((target("default"))) std::uint64_t blockMask(const char* block) { return blockMaskDefault(block); }
__attribute__((target("ssse3"))) std::uint64_t blockMask(const char* block) { return blockMaskSsse3(block); }
__attribute__((target("avx2"))) std::uint64_t blockMask(const char* block) { return blockMaskAvx2(block); }
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

#undef CORVANE_XML_LO_NIBBLES
#undef CORVANE_XML_HI_NIBBLES

#else

const char* findStop(const char* s) {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s);
  while (!stops(*p)) ++p;
  return reinterpret_cast<const char*>(p);
}

// Bytes of the block past the terminator are never looked at by the callers, which
// stop at the terminator's bit; here they are not read either.
std::uint64_t blockMask(const char* block) {
  std::uint64_t mask = 0;
  for (unsigned i = 0; i < 32; ++i) {
    if (stops(static_cast<unsigned char>(block[i]))) {
      mask |= std::uint64_t{1} << i;
      if (block[i] == '\0') {
        mask |= std::uint64_t{1} << (32 + i);
        break;
      }
    }
  }
  return mask;
}

#endif

// Texts whose worst case fits here are escaped without a heap allocation.
constexpr std::size_t kStackBuffer = 2048;
// Room past the escaped text for strided copies and replacement words that overshoot.
constexpr std::size_t kSlack = 40;
static_assert(sizeof(Replacement) == 8, "a replacement is stored as one word");

}  // namespace

namespace {

// Copies n bytes with at most two overlapping moves for short runs: reads and writes
// stay within [from, from + n) and [to, to + n).
inline void copyRun(char* to, const char* from, std::size_t n) {
  if (n >= 8) {
    if (n > 16) {
#if defined(__x86_64__)
      if (n <= 32) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + n - 16));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), a);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + n - 16), b);
        return;
      }
#endif
      std::memcpy(to, from, n);
      return;
    }
    std::uint64_t a, b;
    std::memcpy(&a, from, 8);
    std::memcpy(&b, from + n - 8, 8);
    std::memcpy(to, &a, 8);
    std::memcpy(to + n - 8, &b, 8);
  } else if (n >= 4) {
    std::uint32_t a, b;
    std::memcpy(&a, from, 4);
    std::memcpy(&b, from + n - 4, 4);
    std::memcpy(to, &a, 4);
    std::memcpy(to + n - 4, &b, 4);
  } else {
    for (std::size_t i = 0; i < n; ++i) to[i] = from[i];
  }
}

// Copies [from, to) to dst in 32-byte strides: reads up to 31 bytes past to and writes
// up to 31 bytes past dst + (to - from). Callers make sure both are safe: the reads
// stay in the block after the current one, which holds part of the text when the
// current block has no terminator, hence in a mapped page; such reads may pass the
// terminator, which the address sanitizer cannot know to be harmless.
__attribute__((no_sanitize_address)) inline void copyAhead(char* dst, const char* from,
                                                           const char* to) {
  do {
#if defined(__x86_64__)
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 16));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), a);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 16), b);
#else
    std::memcpy(dst, from, 32);
#endif
    from += 32;
    dst += 32;
  } while (from < to);
}

// Calls visit(p, ahead) for every byte p at or after first that stops the scan, in
// order, ending with the terminator. ahead says whether p's block holds no terminator,
// so that reading up to 32 bytes past p is safe. One mask per 32-byte aligned block
// serves all the stops in it.
template <class Visit>
__attribute__((no_sanitize_address)) inline void forEachStop(const char* first, Visit visit) {
  const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(first) & 31u;
  const char* block = first - offset;
  std::uint64_t bits = blockMask(block);
  unsigned mask = static_cast<unsigned>(bits) & (0xFFFFFFFFu << offset);
  for (;;) {
    const bool ahead = (bits >> 32) == 0;
    while (mask != 0) {
      const char* p = block + __builtin_ctz(mask);
      if (*p == '\0') {
        visit(p, false);
        return;
      }
      visit(p, ahead);
      mask &= mask - 1;
    }
    block += 32;
    bits = blockMask(block);
    mask = static_cast<unsigned>(bits);
  }
}

// Where escaped bytes go: a buffer with room for kSlack bytes past the text, since runs
// are copied in 32-byte strides and each replacement is stored as one 8-byte word, of
// which only the run's and the replacement's lengths count. A
// buffer that may grow is a malloc'ed one, enlarged with realloc when a run and its
// replacement would not fit.
template <bool kGrows>
struct EscapeBuffer {
  char* begin;
  char* end;  // the end of the usable room, slack excluded

  void reserve(char*& dst, std::size_t need) {
    if (!kGrows || static_cast<std::size_t>(end - dst) >= need) return;
    const std::size_t used = static_cast<std::size_t>(dst - begin);
    std::size_t room = static_cast<std::size_t>(end - begin);
    while (room - used < need) room *= 2;
    char* grown = static_cast<char*>(std::realloc(begin, room + kSlack));
    if (grown == nullptr) throw std::bad_alloc();
    begin = grown;
    end = grown + room;
    dst = grown + used;
  }
};

// Escapes text, whose first byte to replace is at stop, into buffer; returns the
// escaped length.
template <bool kGrows>
std::size_t escapeInto(EscapeBuffer<kGrows>& buffer, const char* text, const char* stop) {
  char* dst = buffer.begin;
  const char* run = text;
  forEachStop(stop, [&](const char* p, bool ahead) {
    const std::size_t n = static_cast<std::size_t>(p - run);
    buffer.reserve(dst, n + 6);
    if (ahead) {
      copyAhead(dst, run, p);
    } else {
      copyRun(dst, run, n);
    }
    dst += n;
    const Replacement& r = kEscape.r[static_cast<unsigned char>(*p)];
    std::memcpy(dst, &r, 8);
    dst += r.length;
    run = p + 1;
  });
  return static_cast<std::size_t>(dst - buffer.begin);
}

}  // namespace

namespace corvane_xml_detail {

const char* findEscape(const char* text) { return findStop(text); }

const char* escapeFrom(const char* text, const char* stop, ACE_CString& out, std::size_t& length) {
  const std::size_t inputLength = static_cast<std::size_t>(stop - text) + std::strlen(stop);
  if (6 * inputLength + 1 + kSlack <= kStackBuffer) {
    // Short texts: one pass into a work buffer sized for the worst case, where every
    // byte grows to six.
    char local[kStackBuffer];
    EscapeBuffer<false> buffer{local, local + kStackBuffer - kSlack};
    length = escapeInto(buffer, text, stop);
    out.set(local, length, true);
  } else {
    // Long texts: a worst-case buffer would be six times the text (300 MB for a 50 MB
    // attribute value), and fresh pages cost more to fault in than the rare growth
    // does, so the buffer starts at one and a half times the text and grows.
    const std::size_t room = inputLength + inputLength / 2 + 64;
    EscapeBuffer<true> buffer{static_cast<char*>(std::malloc(room + kSlack)), nullptr};
    if (buffer.begin == nullptr) throw std::bad_alloc();
    buffer.end = buffer.begin + room;
    try {
      length = escapeInto(buffer, text, stop);
      out.set(buffer.begin, length, true);
    } catch (...) {
      std::free(buffer.begin);
      throw;
    }
    std::free(buffer.begin);
  }
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
