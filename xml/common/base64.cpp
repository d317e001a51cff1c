// xml/common/base64.cpp: Base64 (RFC 4648, standard alphabet) by table lookup.
#include <cstring>
#include <string>

#include "xml/common/common.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// 0-63 for alphabet bytes, kSkip for everything else, kPad for '='.
enum : unsigned char { kSkip = 0x80, kPad = 0x81 };

struct DecodeTable {
  unsigned char v[256];
  constexpr DecodeTable() : v() {
    for (int i = 0; i < 256; ++i) v[i] = kSkip;
    for (int i = 0; i < 64; ++i) v[static_cast<unsigned char>(kAlphabet[i])] = static_cast<unsigned char>(i);
    v[static_cast<unsigned char>('=')] = kPad;
  }
};

constexpr DecodeTable kDecode;

}  // namespace

Base64Coder::Base64Coder() = default;
Base64Coder::~Base64Coder() = default;

void Base64Coder::Encode(ACE_CString& out, const unsigned char* data, unsigned int count) {
  const std::size_t length = (static_cast<std::size_t>(count) + 2) / 3 * 4;
  if (length == 0) {
    out.clear(false);
    return;
  }
  std::string text(length, '\0');
  char* p = &text[0];
  unsigned int i = 0;
  for (; i + 3 <= count; i += 3) {
    const unsigned int n = (static_cast<unsigned int>(data[i]) << 16) | (static_cast<unsigned int>(data[i + 1]) << 8) | data[i + 2];
    *p++ = kAlphabet[n >> 18];
    *p++ = kAlphabet[(n >> 12) & 63];
    *p++ = kAlphabet[(n >> 6) & 63];
    *p++ = kAlphabet[n & 63];
  }
  if (i < count) {
    unsigned int n = static_cast<unsigned int>(data[i]) << 16;
    if (i + 1 < count) n |= static_cast<unsigned int>(data[i + 1]) << 8;
    *p++ = kAlphabet[n >> 18];
    *p++ = kAlphabet[(n >> 12) & 63];
    *p++ = i + 1 < count ? kAlphabet[(n >> 6) & 63] : '=';
    *p++ = '=';
  }
  out.set(text.data(), length, true);
}

Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> Base64Coder::Decode(const char* text,
                                                                       unsigned int length,
                                                                       unsigned int& count) {
  Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> out(new char[length / 4 * 3 + 3]);
  unsigned char* p = reinterpret_cast<unsigned char*>(out.get());
  unsigned int bits = 0;
  int held = 0;  // sextets in bits
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  for (unsigned int i = 0; text != nullptr && i < length; ++i) {
    const unsigned char v = kDecode.v[s[i]];
    if (v == kPad) break;
    if (v == kSkip) continue;
    bits = (bits << 6) | v;
    if (++held == 4) {
      *p++ = static_cast<unsigned char>(bits >> 16);
      *p++ = static_cast<unsigned char>(bits >> 8);
      *p++ = static_cast<unsigned char>(bits);
      bits = 0;
      held = 0;
    }
  }
  // Two sextets carry one byte, three carry two; a lone sextet carries none.
  if (held == 2) {
    *p++ = static_cast<unsigned char>(bits >> 4);
  } else if (held == 3) {
    *p++ = static_cast<unsigned char>(bits >> 10);
    *p++ = static_cast<unsigned char>(bits >> 2);
  }
  count = static_cast<unsigned int>(p - reinterpret_cast<unsigned char*>(out.get()));
  return out;
}
