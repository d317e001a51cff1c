// tests/charsets_test.cpp: conversions between UTF-8, UTF-16 and Windows-1252, the size
// limit of the UTF-8 output with its log line, and Base64 text.
#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "support/logcapture.h"
#include "support/throws.h"
#include "xml/xmlexception.h"
#include "xml/xmlstringconversion.h"

namespace {

using ArrayOut = Corvane::auto_ptr<char, Corvane::ArrayDelete<char>>;

// Windows-1252 bytes 0x80-0x9F as Unicode; 0 where the byte is undefined.
constexpr char16_t kHighHalf[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

// The Windows-1252 byte of a BMP unit, or -1.
int cp1252(char16_t u) {
  if (u < 0x80 || (u >= 0xA0 && u <= 0xFF)) return u;
  for (int i = 0; i < 32; ++i) {
    if (kHighHalf[i] != 0 && kHighHalf[i] == u) return 0x80 + i;
  }
  return -1;
}

// A UTF-16 to narrow converter, run with an owning pointer that already holds a buffer
// (it must be freed: ASan reports a leak otherwise).
template <class Policy, void (*convert)(const XMLCh*, Corvane::auto_ptr<char, Policy>&)>
std::string narrow(const std::u16string& text) {
  Corvane::auto_ptr<char, Policy> out(new char[8]);
  convert(text.c_str(), out);
  return out.get();
}
const auto anci = narrow<Corvane::BasicDelete<char>, ConvertWideCharToAnci>;
const auto ansi = narrow<Corvane::ArrayDelete<char>, ConvertWideCharToAnsi>;
const auto utf8 = narrow<Corvane::BasicDelete<char>, ConvertWideCharToUTF8>;

// All of the bytes, embedded zeros included, to as many units as expected has, plus a
// mark when no terminator follows them.
std::u16string wide(const std::string& bytes, const std::u16string& expected) {
  Corvane::auto_ptr<XMLCh, Corvane::BasicDelete<XMLCh>> out(new XMLCh[8]);
  ConvertUTF8ToWideChar(ACE_CString(bytes.data(), bytes.size()), out);
  const std::u16string result(out.get(), expected.size());
  return out.get()[expected.size()] == 0 ? result : result + u"<no terminator>";
}

// Hand decoding to ISO 8859-1: the two-byte rule, one 0xBF per other sequence; appends.
TEST(ConvertUTF8StringToAnsi, DecodesByHandAndAppends) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},                          {"plain\x7F", "plain\x7F"},
      {"\xC3\xA9", "\xE9"},              {"\xE2\x82\xAC", "\xBF"},
      {"\x80" "A", "\xBF" "A"},          {"ab\xC3", "ab\xBF"},
      {"\xC4\x80", "\x80"},              {"\xC2\x80\xC3\xBF", "\x80\xFF"},
      {"\xF0\x9F\x98\x80!", "\xBF!"},    {"\xC3" "A\xC3\xA9\xA9", "\xBF" "A\xBF"},
  };
  for (const auto& [text, expected] : cases) {
    ACE_CString out("x");
    ConvertUTF8StringToAnsi(text, out);
    ConvertUTF8StringToAnsi(text, out);
    EXPECT_EQ("x" + std::string(expected) + expected, std::string(out.c_str(), out.length()))
        << text;
  }
}

// The whole text, zero bytes included, to UTF-16; each maximal ill-formed subpart -> U+FFFD.
TEST(ConvertUTF8ToWideChar, WholeTextWithReplacementCharacters) {
  const std::pair<std::string, std::u16string> cases[] = {
      {"", u""},
      {"a\xC3\xA9\xE2\x82\xAC\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", u"a\u00E9\u20AC\u07FF\u0800\uFFFF"},
      {"\xF0\x9F\x98\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U0001F600\U00010000\U0010FFFF"},
      {std::string("a\0b\0", 4), std::u16string(u"a\0b\0", 4)},
      {"\xC0\x80\xC1\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  {"\xE0\x80\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  {"\xF5\xFE\xFF", u"\uFFFD\uFFFD\uFFFD"},
      {"\x80\xBF" "a", u"\uFFFD\uFFFDa"},
      {"\xE2\x82" "a\xF0\x9F\x98", u"\uFFFD" "a\uFFFD"},
      {std::string("\xC3\0\xC3", 3), std::u16string(u"\uFFFD\0\uFFFD", 3)},
  };
  for (const auto& [bytes, expected] : cases) EXPECT_EQ(expected, wide(bytes, expected)) << bytes;
}

// Each BMP unit: its Windows-1252 byte, else "?" (Anci) or its low byte (Ansi; 0 ends it).
TEST(ConvertWideCharToAnsi, EveryBmpUnitAgainstTheCodePage) {
  for (char32_t c = 1; c <= 0xFFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const int b = cp1252(static_cast<char16_t>(c));
    const std::string mapped(1, static_cast<char>(b)), low(1, static_cast<char>(c & 0xFF));
    ASSERT_EQ((b >= 0 ? mapped : "?") + "!", anci({static_cast<char16_t>(c), u'!'})) << c;
    ASSERT_EQ(b >= 0 ? mapped + "!" : (c & 0xFF) != 0 ? low + "!" : "",
              ansi({static_cast<char16_t>(c), u'!'})) << c;
  }
}

// Undefined bytes, "?" itself, low bytes, surrogate pairs as one "?", lone surrogates.
TEST(ConvertWideCharToAnsi, ExamplesOfBothFallbacks) {
  const struct { std::u16string text; std::string anci, ansi; } cases[] = {
      {u"", "", ""},
      {u"\u0081\u008D\u008F\u0090\u009D", "?????", "\x81\x8D\x8F\x90\x9D"},
      {u"\u20AC?\u4E2D\u0141\u0178", "\x80???\x9F", "\x80?\x2D\x41\x9F"},
      {u"a\u0100b", "a?b", "a"},
      {u"a\U0001F600b\U0010FFFF", "a?b?", "a?b?"},
      {u"a\xD83D" "b\xDC41", "a?b?", "a=bA"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.anci, anci(c.text)) << c.anci;
    EXPECT_EQ(c.ansi, ansi(c.text)) << c.ansi;
  }
}

// UTF-16 to UTF-8 at each length boundary; lone or reversed surrogates give U+FFFD.
TEST(ConvertWideCharToUTF8, ConvertsAndReplacesLoneSurrogates) {
  const std::pair<std::u16string, std::string> cases[] = {
      {u"", ""},
      {u"\u007F\u0080\u07FF\u0800\uFFFF", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {u"a\xD800" "b\xDC00\xD800", "a\xEF\xBF\xBD" "b\xEF\xBF\xBD\xEF\xBF\xBD"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(expected, utf8(text)) << expected;
}

// Length + 255 bytes hold 127 euro signs and the terminator, not 128: logged and thrown.
TEST(ConvertWideCharToUTF8, OutputLongerThanLengthPlus255Fails) {
  for (const std::size_t count : {100u, 127u, 128u, 200u}) {
    LogCapture capture;
    std::string expected;
    for (std::size_t i = 0; i < count; ++i) expected += "\xE2\x82\xAC";
    if (count <= 127) {
      EXPECT_EQ(expected, utf8(std::u16string(count, u'\u20AC')));
      EXPECT_TRUE(capture.lines().empty());
      continue;
    }
    EXPECT_THROW_WHAT(utf8(std::u16string(count, u'\u20AC')), XmlException::ParserError,
                      "XmlStringConversion: Failed to convert from wide character");
    const auto lines = capture.lines();
    ASSERT_EQ(1u, lines.size()) << count;
    EXPECT_EQ(LM_ERROR, lines[0].priority);
    EXPECT_EQ("XmlStringConversion: Failed to convert wide character to UTF-8: error = 7\n",
              lines[0].text);
  }
}

// Base64 replaces the string's text; every byte value round-trips at each length mod 3.
TEST(ConvertBinToXmlString, Base64RoundTrip) {
  ACE_CString text("stale");
  ConvertBinToXmlString("fo", 2, text);
  EXPECT_STREQ("Zm8=", text.c_str());
  std::string all;
  for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
  for (const unsigned int size : {0u, 254u, 255u, 256u}) {
    ConvertBinToXmlString(all.data(), size, text);
    ArrayOut decoded(new char[8]);
    unsigned int count = 99;
    ConvertXmlStringToBin(text, decoded, count);
    EXPECT_EQ(all.substr(0, size), std::string(decoded.get(), count)) << size;
  }
}

}  // namespace
