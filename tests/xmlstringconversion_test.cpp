// tests/xmlstringconversion_test.cpp: XML escaping and unescaping: every byte value,
// the returned-pointer contract, the vector scan's block and page boundaries, long texts
// and the exact-entity rule of unescaping.
#include "xml/xmlstringconversion.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string str(const ACE_CString& s) { return std::string(s.c_str(), s.length()); }

// What one byte becomes, written out from the escaping table.
std::string escapedByte(unsigned char b) {
  switch (b) {
    case '\n': return "&#xA;";
    case '\r': return "&#xD;";
    case '"': return "&quot;";
    case '&': return "&amp;";
    case '\'': return "&apos;";
    case '<': return "&lt;";
    case '>': return "&gt;";
    case '\t': return "\t";
    default: break;
  }
  if (b < 0x20) return " ";
  if (b >= 0x80) return {static_cast<char>(0xC0 | (b >> 6)), static_cast<char>(0x80 | (b & 0x3F))};
  return std::string(1, static_cast<char>(b));
}

std::string escapedText(const std::string& text) {
  std::string result;
  for (const char c : text) result += escapedByte(static_cast<unsigned char>(c));
  return result;
}

// Escapes text into a pre-filled out and checks the pointer contract: text itself (out
// untouched) when nothing changed, else out's own text.
std::string escape(const char* text) {
  ACE_CString out("sentinel");
  const char* result = ConvertStringToXmlString(text, out);
  if (std::strcmp(result, text) == 0) {
    EXPECT_EQ(text, result) << "an unchanged text must come back as the argument itself";
    EXPECT_EQ("sentinel", str(out));
  } else {
    EXPECT_EQ(out.c_str(), result);
  }
  return result;
}

std::string unescape(const std::string& text) {
  ACE_CString out("sentinel");
  ConvertXmlStringToString(text.c_str(), out);
  return str(out);
}

// Each byte value 1-255, alone and between two letters, becomes its replacement.
TEST(ConvertStringToXmlString, EveryByteValue) {
  for (int b = 1; b < 256; ++b) {
    SCOPED_TRACE(b);
    const char alone[] = {static_cast<char>(b), '\0'};
    const char inside[] = {'x', static_cast<char>(b), 'y', '\0'};
    EXPECT_EQ(escapedByte(static_cast<unsigned char>(b)), escape(alone));
    EXPECT_EQ("x" + escapedByte(static_cast<unsigned char>(b)) + "y", escape(inside));
  }
}

// Typical texts, with the expected bytes written out literally.
TEST(ConvertStringToXmlString, Examples) {
  const struct {
    const char* text;
    const char* escaped;
  } kCases[] = {
      {"", ""}, {"plain text", "plain text"}, {"a<b", "a&lt;b"}, {"&amp;", "&amp;amp;"},
      {"\"it's\"", "&quot;it&apos;s&quot;"}, {"1 > 0 & 0 < 1", "1 &gt; 0 &amp; 0 &lt; 1"},
      {"\tx\x0c\x01\x7f", "\tx  \x7f"}, {"a\r\nb", "a&#xD;&#xA;b"}, {"caf\xe9", "caf\xc3\xa9"},
      {"\x80\xbf\xc0\xff", "\xc2\x80\xc2\xbf\xc3\x80\xc3\xbf"},
  };
  for (const auto& c : kCases) EXPECT_EQ(c.escaped, escape(c.text)) << c.text;
}

// Texts of 0 to 64 bytes at 32 alignments with a special byte at every position (or
// none), and a second one a varying distance after it; the bytes before and after the
// text are all specials. Covers the vector scan's block edges and the copied runs.
TEST(ConvertStringToXmlString, EveryLengthPositionAndAlignment) {
  static const char kPassing[] = "\t\x7f !#%()*+,-./09:;=?@AZ[\\]^_`az{|}~";
  static const char kSpecial[] = "<>&'\"\n\r\x01\x1f\x80\xe9\xff";
  alignas(64) char buffer[32 + 64 + 1 + 64];
  for (std::size_t offset = 0; offset < 32; ++offset) {
    for (std::size_t length = 0; length <= 64; ++length) {
      for (std::size_t special = 0; special <= length; ++special) {
        const std::size_t second = special + 1 + (length + offset) % 19;
        std::string text;
        for (std::size_t i = 0; i < length; ++i) {
          const bool isSpecial = i == special || i == second;
          text += isSpecial ? kSpecial[(i + length + offset) % (sizeof kSpecial - 1)]
                            : kPassing[(i + offset) % (sizeof kPassing - 1)];
        }
        std::memset(buffer, '<', sizeof buffer);
        std::memcpy(buffer + offset, text.c_str(), length + 1);
        ASSERT_EQ(escapedText(text), escape(buffer + offset))
            << "offset " << offset << ", length " << length << ", special at " << special;
      }
    }
  }
}

// Texts whose terminator is the last byte before an unreadable page, with a special
// byte anywhere, none, or only specials, are read without touching that page.
TEST(ConvertStringToXmlString, TextEndingAtPageBoundary) {
  const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* map = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(MAP_FAILED, map);
  char* const first = static_cast<char*>(map);
  ASSERT_EQ(0, mprotect(first + page, page, PROT_NONE));
  for (const std::size_t length : {0, 1, 2, 15, 16, 17, 31, 32, 33, 63, 64, 65, 100}) {
    char* const text = first + page - 1 - length;
    text[length] = '\0';
    for (std::size_t special = 0; special <= length; ++special) {  // length: none
      for (std::size_t i = 0; i < length; ++i) text[i] = i == special ? '<' : 'a';
      EXPECT_EQ(escapedText(text), escape(text)) << length << " " << special;
      EXPECT_EQ(text, unescape(text));
    }
    std::memset(text, '"', length);
    EXPECT_EQ(escapedText(text), escape(text)) << length;
  }
  munmap(map, 2 * page);
}

// Worst-case growth (every byte six) and texts past the stack buffer.
TEST(ConvertStringToXmlString, LongTexts) {
  for (const std::size_t n : {1, 341, 342, 3000}) {
    std::string quotes(n, '"'), expected;
    for (std::size_t i = 0; i < n; ++i) expected += "&quot;";
    EXPECT_EQ(expected, escape(quotes.c_str())) << n;
  }
  std::string mixed;
  for (int i = 0; i < 1000; ++i) mixed += "ab<c\xe9\n\x02";
  EXPECT_EQ(escapedText(mixed), escape(mixed.c_str()));
  const std::string clean(3000, 'a'), lateSpecial = clean + "&";
  EXPECT_EQ(clean, escape(clean.c_str()));
  EXPECT_EQ(clean + "&amp;", escape(lateSpecial.c_str()));
}

// Only the seven exact entities are decoded; a candidate runs from '&' to the first ';'.
TEST(ConvertXmlStringToString, ExactEntitiesOnly) {
  const struct {
    const char* text;
    const char* unescaped;
  } kCases[] = {
      {"", ""}, {"plain", "plain"}, {"a &lt; b", "a < b"},
      {"&lt;&#xA;&gt;&amp;&#xD;&apos;&quot;", "<\n>&\r'\""},
      {"&#10;", "&#10;"}, {"&#x41;", "&#x41;"}, {"&#xa;", "&#xa;"}, {"&LT;", "&LT;"},
      {"a & b &lt;", "a & b &lt;"}, {"&&lt;", "&&lt;"}, {"x&amp", "x&amp"}, {"&lt;&lt", "<&lt"},
      {"&amp;lt;", "&lt;"}, {"&;&", "&;&"}, {"\xc3\xa9", "\xc3\xa9"},
  };
  for (const auto& c : kCases) EXPECT_EQ(c.unescaped, unescape(c.text)) << c.text;
}

// Escaping then unescaping gives the text back, except for the control bytes turned
// into spaces and the two-byte form of bytes 0x80-0xFF.
TEST(ConvertXmlStringToString, RoundTrip) {
  std::string ascii = "\t\n\r";
  for (int b = 0x20; b < 0x80; ++b) ascii += static_cast<char>(b);
  EXPECT_EQ(ascii, unescape(escape(ascii.c_str())));
  EXPECT_EQ("a b", unescape(escape("a\x01" "b")));
  EXPECT_EQ("\xc3\xa9", unescape(escape("\xe9")));
}

}  // namespace
