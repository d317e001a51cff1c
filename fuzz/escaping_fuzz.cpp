// fuzz/escaping_fuzz.cpp: ConvertStringToXmlString and ConvertXmlStringToString.
//
// The input, cut at its first zero byte, is escaped from 32 start offsets in turn (the
// escaper reads whole aligned blocks). The result must be exactly the byte-wise escape
// of the input (checked against a plain loop written here), hand back the input itself
// when nothing needed escaping, and unescape to the input with control bytes as spaces
// and bytes from 0x80 in their two-byte form; for input below 0x80 without control
// bytes that is the input itself. Unescaping the raw input must never grow it.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "xml/xmlstringconversion.h"

namespace {

// The escape of one byte, written out the slow way.
std::string escapeOf(unsigned char c) {
  switch (c) {
    case '\n': return "&#xA;";
    case '\r': return "&#xD;";
    case '"': return "&quot;";
    case '&': return "&amp;";
    case '\'': return "&apos;";
    case '<': return "&lt;";
    case '>': return "&gt;";
    default: break;
  }
  if (c < 0x20 && c != '\t') return " ";
  if (c >= 0x80) return {static_cast<char>(0xC0 | (c >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
  return std::string(1, static_cast<char>(c));
}

// What unescaping the escape of c gives back.
std::string unescapedOf(unsigned char c) {
  if (c == '\n' || c == '\r') return std::string(1, static_cast<char>(c));
  return c < 0x80 && escapeOf(c).size() > 1 ? std::string(1, static_cast<char>(c)) : escapeOf(c);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), strnlen(reinterpret_cast<const char*>(data), size));
  std::string escaped, unescaped;
  bool clean = true;
  for (unsigned char c : text) {
    escaped += escapeOf(c);
    unescaped += unescapedOf(c);
    clean = clean && escapeOf(c).size() == 1 && escapeOf(c)[0] == static_cast<char>(c);
  }

  // The text ends its allocation, so that the address sanitizer sees any read past the
  // terminator that the scanners' aligned block reads do not excuse; the offsets move
  // its start through every position of a 32-byte block.
  for (std::size_t offset = 0; offset < 32; ++offset) {
    std::vector<char> block(offset + text.size() + 1);
    char* at = block.data() + offset;
    std::memcpy(at, text.c_str(), text.size() + 1);
    ACE_CString out("untouched");
    const char* result = ConvertStringToXmlString(at, out);
    if (clean) {
      FUZZ_CHECK(result == at);
      FUZZ_CHECK(out == "untouched");
    } else {
      FUZZ_CHECK(result == out.c_str());
      FUZZ_CHECK(std::string(out.c_str(), out.length()) == escaped);
    }
    if (text.size() > 4096) break;  // long inputs: one offset is enough
  }

  ACE_CString back("stale");
  ConvertXmlStringToString(escaped.c_str(), back);
  FUZZ_CHECK(std::string(back.c_str(), back.length()) == unescaped);

  ACE_CString raw;
  ConvertXmlStringToString(text.c_str(), raw);
  FUZZ_CHECK(raw.length() <= text.size());
  if (text.find('&') == std::string::npos) FUZZ_CHECK(std::string(raw.c_str(), raw.length()) == text);
  return 0;
}
