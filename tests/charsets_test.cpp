// tests/charsets_test.cpp: conversions between UTF-8, UTF-16 and Windows-1252, the size
// limit of the UTF-8 output with its log line, and Base64 text.
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "support/logcapture.h"
#include "support/throws.h"
#include "xml/xmlexception.h"
#include "xml/xmlstringconversion.h"

namespace {

// Windows-1252 bytes 0x80-0x9F as Unicode; "?" where the byte is undefined.
const std::u16string kHighHalf =
    u"\u20AC?\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152?\u017D?"
    u"?\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A\u0153?\u017E\u0178";

// A UTF-16 to narrow converter, run on an owning pointer that already holds a buffer.
template <class Policy, void (*convert)(const XMLCh*, Corvane::auto_ptr<char, Policy>&)>
std::string narrow(const std::u16string& text) {
  Corvane::auto_ptr<char, Policy> out(new char[8]);
  convert(text.c_str(), out);
  return out.get();
}
const auto anci = narrow<Corvane::BasicDelete<char>, ConvertWideCharToAnci>;
const auto ansi = narrow<Corvane::ArrayDelete<char>, ConvertWideCharToAnsi>;
const auto utf8 = narrow<Corvane::BasicDelete<char>, ConvertWideCharToUTF8>;

// Hand decoding to ISO 8859-1: the two-byte rule, one 0xBF per other sequence; appends.
TEST(ConvertUTF8StringToAnsi, DecodesByHandAndAppends) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""}, {"\xC3\xA9", "\xE9"}, {"\xE2\x82\xAC", "\xBF"}, {"a\x7F\xC3", "a\x7F\xBF"},
      {"\x80" "A", "\xBF" "A"}, {"\xC4\x80", "\x80"}, {"\xC2\x80\xC3\xBF", "\x80\xFF"},
      {"\xF0\x9F\x98\x80!", "\xBF!"}, {"\xC3" "A\xC3\xA9\xA9", "\xBF" "A\xBF"}};
  for (const auto& [text, expected] : cases) {
    ACE_CString out("x");
    ConvertUTF8StringToAnsi(text, out);
    EXPECT_EQ("x" + std::string(expected), std::string(out.c_str(), out.length())) << text;
  }
}

// All bytes, zeros included, to terminated UTF-16; each maximal ill-formed subpart -> U+FFFD.
TEST(ConvertUTF8ToWideChar, WholeTextWithReplacementCharacters) {
  const std::pair<std::string, std::u16string> cases[] = {
      {"", u""}, {std::string("a\0b\0", 4), std::u16string(u"a\0b\0", 4)},
      {"a\xC3\xA9\xE2\x82\xAC\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", u"a\u00E9\u20AC\u07FF\u0800\uFFFF"},
      {"\xF0\x9F\x98\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U0001F600\U00010000\U0010FFFF"},
      {"\xC0\x80\xC1\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, {"\xE0\x80\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, {"\xF5\xFE\xFF", u"\uFFFD\uFFFD\uFFFD"},
      {"\x80\xBF" "a", u"\uFFFD\uFFFDa"}, {"\xE2\x82" "a\xF0\x9F\x98", u"\uFFFD" "a\uFFFD"},
      {std::string("\xC3\0\xC3", 3), std::u16string(u"\uFFFD\0\uFFFD", 3)}};
  for (const auto& [bytes, expected] : cases) {
    Corvane::auto_ptr<XMLCh, Corvane::BasicDelete<XMLCh>> out(new XMLCh[8]);
    ConvertUTF8ToWideChar(ACE_CString(bytes.data(), bytes.size()), out);
    EXPECT_EQ(expected + u'\0', std::u16string(out.get(), expected.size() + 1)) << bytes;
  }
}

// Each BMP unit and surrogate: its code-page byte, else "?" (Anci) or its low byte (Ansi).
TEST(ConvertWideCharToAnsi, EveryBmpUnitAndSurrogates) {
  for (char16_t c = 1; c != 0; c = char16_t(c == 0xD7FF ? 0xE000 : c + 1)) {
    const std::size_t high = kHighHalf.find(c);
    const int b = c < 0x80 || (c >= 0xA0 && c <= 0xFF) ? c : high < 32 ? 0x80 + int(high) : -1;
    const std::string mapped(1, char(b)), low(1, char(c & 0xFF));
    ASSERT_EQ((b >= 0 ? mapped : "?") + "!", anci({c, u'!'})) << int(c);
    ASSERT_EQ(b >= 0 ? mapped + "!" : (c & 0xFF) != 0 ? low + "!" : "", ansi({c, u'!'})) << int(c);
  }
  EXPECT_EQ("a?b??", anci(u"a\xD83D" "b\xDC41\U0001F600"));
  EXPECT_EQ("a=bA?", ansi(u"a\xD83D" "b\xDC41\U0001F600"));
}

// Texts go in blocks of US-ASCII: one special unit (or pair) at every position of texts of
// every length up to 25, texts wholly of ASCII, and one special unit repeated.
TEST(ConvertWideCharToAnsi, SpecialCharactersAtEveryPositionOfLongTexts) {
  struct Special {
    std::u16string units;
    std::string anci, ansi;
  };
  const Special specials[] = {{u"\u00E9", "\xE9", "\xE9"},      {u"\u20AC", "\x80", "\x80"},
                              {u"\u0141", "?", "A"},              {u"\U0001F600", "?", "?"},
                              {u"\xD83D", "?", "="},              {u"\xDC41", "?", "A"},
                              {u"\u007F", "\x7F", "\x7F"},        {u"\u0080", "?", "\x80"}};
  const std::u16string ascii = u"abcdefghijklmnopqrstuvwx";
  const std::string bytes = "abcdefghijklmnopqrstuvwx";
  for (const Special& special : specials) {
    for (std::size_t length = 0; length <= ascii.size(); ++length) {
      for (std::size_t at = 0; at <= length; ++at) {
        const std::u16string text =
            ascii.substr(0, at) + special.units + ascii.substr(at, length - at);
        const std::string head = bytes.substr(0, at), tail = bytes.substr(at, length - at);
        ASSERT_EQ(head + special.anci + tail, anci(text)) << length << " " << at;
        ASSERT_EQ(head + special.ansi + tail, ansi(text)) << length << " " << at;
      }
      EXPECT_EQ(bytes.substr(0, length), anci(ascii.substr(0, length)));
    }
    std::u16string repeated;
    std::string anciRepeated, ansiRepeated;
    for (int i = 0; i < 19; ++i) {
      repeated += special.units;
      anciRepeated += special.anci;
      ansiRepeated += special.ansi;
    }
    EXPECT_EQ(anciRepeated, anci(repeated));
    EXPECT_EQ(ansiRepeated, ansi(repeated));
  }
  const std::u16string ascii128(u"\u0001 ~\u007F" + std::u16string(60, u'z') + u"\u0001");
  EXPECT_EQ("\x01 ~\x7F" + std::string(60, 'z') + "\x01", anci(ascii128));
}

// Length boundaries, lone surrogates -> U+FFFD; 127 euro signs fit length + 255, one more not.
TEST(ConvertWideCharToUTF8, ConvertsWithinLengthPlus255) {
  const std::pair<std::u16string, std::string> cases[] = {
      {u"", ""}, {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {u"\u007F\u0080\u07FF\u0800\uFFFF", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {u"a\xD800" "b\xDC00\xD800", "a\xEF\xBF\xBD" "b\xEF\xBF\xBD\xEF\xBF\xBD"}};
  LogCapture capture;
  for (const auto& [text, expected] : cases) EXPECT_EQ(expected, utf8(text)) << expected;
  const std::u16string euros(127, u'\u20AC');
  std::string bytes;
  for (int i = 0; i < 127; ++i) bytes += "\xE2\x82\xAC";
  EXPECT_EQ(bytes, utf8(euros));
  for (const auto& text : {euros + u'\u20AC', euros + u'\u00E9', std::u16string(200, u'\u20AC')})
    EXPECT_THROW_WHAT(utf8(text), XmlException::ParserError,
                      "XmlStringConversion: Failed to convert from wide character");
  const std::string line = "E XmlStringConversion: Failed to convert wide character to UTF-8: error = 7\n";
  EXPECT_EQ(line + line + line, capture.text());
}

// Base64 replaces the string's text; every byte value round-trips.
TEST(ConvertBinToXmlString, Base64RoundTrip) {
  ACE_CString text("stale");
  ConvertBinToXmlString("fo", 2, text);
  EXPECT_STREQ("Zm8=", text.c_str());
  std::string all;
  for (int b = 0; b < 256; ++b) all += char(b);
  ConvertBinToXmlString(all.data(), 256, text);  // every length: the Base64Coder tests
  Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> decoded(new char[8]);
  unsigned int count = 99;
  ConvertXmlStringToBin(text, decoded, count);
  EXPECT_EQ(all, std::string(decoded.get(), count));
}

}  // namespace
