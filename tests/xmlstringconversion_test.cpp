// tests/xmlstringconversion_test.cpp: XML escaping (every byte, the returned-pointer
// contract, vector scan and page boundaries, long texts) and exact-entity unescaping.
#include "xml/xmlstringconversion.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

// What one byte becomes: the escaping table written out.
std::string escapedByte(unsigned char b) {
  static const char kNamed[] = "\n\r\"&'<>";
  static const char* const kEntity[] = {"&#xA;", "&#xD;", "&quot;", "&amp;",
                                       "&apos;", "&lt;", "&gt;"};
  const char* named = b != 0 ? std::strchr(kNamed, b) : nullptr;
  if (named != nullptr) return kEntity[named - kNamed];
  if (b < 0x20 && b != '\t') return " ";
  if (b < 0x80) return std::string(1, static_cast<char>(b));
  return {static_cast<char>(0xC0 | (b >> 6)), static_cast<char>(0x80 | (b & 0x3F))};
}

std::string escapedText(const std::string& text) {
  std::string result;
  for (const char c : text) result += escapedByte(static_cast<unsigned char>(c));
  return result;
}

// Escapes into a pre-filled out: a clean text comes back as itself with out untouched,
// anything else as out's own text.
std::string escape(const char* text) {
  ACE_CString out("sentinel");
  const char* result = ConvertStringToXmlString(text, out);
  EXPECT_TRUE(std::strcmp(result, text) != 0
                  ? result == out.c_str()
                  : result == text && std::string(out.c_str()) == "sentinel") << text;
  return result;
}

std::string unescape(const std::string& text) {
  ACE_CString out("sentinel");
  ConvertXmlStringToString(text.c_str(), out);
  return std::string(out.c_str(), out.length());
}

// Each byte value 1-255 alone and between two letters, and literal multi-byte examples.
TEST(ConvertStringToXmlString, EveryByteValueAndExamples) {
  for (int b = 1; b < 256; ++b) {
    const char alone[] = {static_cast<char>(b), '\0'}, inside[] = {'x', alone[0], 'y', '\0'};
    EXPECT_EQ(escapedByte(static_cast<unsigned char>(b)), escape(alone)) << b;
    EXPECT_EQ("x" + escapedByte(static_cast<unsigned char>(b)) + "y", escape(inside)) << b;
  }
  EXPECT_EQ("a&#xD;&#xA;&quot;it&apos;s&quot; &gt; &lt;&amp;", escape("a\r\n\"it's\" > <&"));
  EXPECT_EQ("\tx  \x7f\xc3\xa9\xc2\x80\xc3\xbf", escape("\tx\x0c\x01\x7f\xe9\x80\xff"));
}

// Lengths 0-64 at 32 alignments, an escapable byte at every position.
TEST(ConvertStringToXmlString, EveryLengthPositionAndAlignment) {
  static const char kPassing[] = "\t\x7f !#%()*+,-./09:;=?@AZ[\\]^_`az{|}~";
  static const char kEscapable[] = "<>&'\"\n\r\x01\x1f\x80\xe9\xff";
  alignas(64) char buffer[32 + 64 + 1 + 64];
  for (std::size_t offset = 0; offset < 32; ++offset) {
    for (std::size_t length = 0; length <= 64; ++length) {
      for (std::size_t dirty = 0; dirty <= length; ++dirty) {
        std::string text;
        for (std::size_t i = 0; i < length; ++i)
          text += i == dirty || i == dirty + 1 + (length + offset) % 19
                      ? kEscapable[(i + length + offset) % (sizeof kEscapable - 1)]
                      : kPassing[(i + offset) % (sizeof kPassing - 1)];
        std::memset(buffer, '<', sizeof buffer);
        std::memcpy(buffer + offset, text.c_str(), length + 1);
        ASSERT_EQ(escapedText(text), escape(buffer + offset))
            << offset << " " << length << " " << dirty;
      }
    }
  }
}

// Texts ending at the last byte before a PROT_NONE page are read without touching it.
TEST(ConvertStringToXmlString, TextEndingAtPageBoundary) {
  const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* map = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(MAP_FAILED, map);
  ASSERT_EQ(0, mprotect(static_cast<char*>(map) + page, page, PROT_NONE));
  for (const std::size_t length : {0, 1, 2, 15, 16, 17, 31, 32, 33, 63, 64, 65, 100}) {
    char* const text = static_cast<char*>(map) + page - 1 - length;
    text[length] = '\0';
    for (std::size_t dirty = 0; dirty <= length; ++dirty) {  // length: none
      for (std::size_t i = 0; i < length; ++i) text[i] = i == dirty ? '&' : 'a';
      EXPECT_EQ(escapedText(text), escape(text)) << length << " " << dirty;
      EXPECT_EQ(text, unescape(text));
    }
    std::memset(text, '"', length);
    EXPECT_EQ(escapedText(text), escape(text)) << length;
  }
  munmap(map, 2 * page);
}

// Worst-case growth around the 2048-byte stack buffer, and texts on the heap path.
TEST(ConvertStringToXmlString, LongTexts) {
  for (const std::size_t n : {1, 334, 335, 3000}) {
    EXPECT_EQ(escapedText(std::string(n, '"')), escape(std::string(n, '"').c_str())) << n;
  }
  std::string mixed;
  for (int i = 0; i < 1000; ++i) mixed += "ab<c\xe9\n\x02";
  EXPECT_EQ(escapedText(mixed), escape(mixed.c_str()));
  const std::string clean(3000, 'a');
  EXPECT_EQ(clean, escape(clean.c_str()));
  EXPECT_EQ(clean + "&amp;", escape((clean + "&").c_str()));
}

// Only the seven exact entities are decoded, into an emptied out; escaping round-trips.
TEST(ConvertXmlStringToString, ExactEntitiesAndRoundTrip) {
  const char* const kCases[][2] = {
      {"", ""}, {"plain", "plain"}, {"a &lt; b", "a < b"},
      {"&lt;&#xA;&gt;&amp;&#xD;&apos;&quot;", "<\n>&\r'\""}, {"&#10;", "&#10;"},
      {"&#x41;", "&#x41;"}, {"&#xa;", "&#xa;"}, {"&LT;", "&LT;"}, {"a & b &lt;", "a & b &lt;"},
      {"&&lt;", "&&lt;"}, {"x&amp", "x&amp"}, {"&lt;&lt", "<&lt"}, {"&amp;lt;", "&lt;"},
      {"&;&", "&;&"}, {"\xc3\xa9", "\xc3\xa9"}};
  for (const auto& c : kCases) EXPECT_EQ(c[1], unescape(c[0])) << c[0];
  EXPECT_EQ("<\n>&\r'\"\t a b\xc3\xa9", unescape(escape("<\n>&\r'\"\t\x1f" "a b\xe9")));
}

}  // namespace
