// tests/writer/xmlemitter_test.cpp: the attribute list (getters, number texts and their
// limits, copies) and the streaming writer's exact pieces per operation.
#include "xml/writer/xmlemitter.h"

#include <clocale>
#include <climits>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "xml/common/common.h"

namespace {

using Pieces = std::vector<std::string>;

std::string orNull(const char* s) { return s != nullptr ? s : "(null)"; }

// Keeps every WriteBytes call as its own piece; answers 0, which writers ignore.
class Recorder : public OutputStream {
 public:
  unsigned int WriteBytes(const void* data, unsigned int count) override {
    pieces.emplace_back(static_cast<const char*>(data), count);
    return 0;
  }
  bool Flush() override {
    ++flushes;
    return true;
  }
  Pieces pieces;
  int flushes = 0;
};

// The value text that push(name, type, args...) stores.
template <class... Args>
std::string pushed(Args... args) {
  XmlAttributes list;
  list.push("n", "CDATA", args...);
  return orNull(list.getValue(0u));
}

// The list read by index, as "name/type=value;" per entry.
std::string entries(const XmlAttributes& list) {
  std::string s;
  for (unsigned int i = 0; i < list.getLength(); ++i) {
    s += orNull(list.getName(i)) + "/" + orNull(list.getType(i)) + "=";
    s += orNull(list.getValue(i)) + ";";
  }
  return s;
}

// ---------------------------------------------------------------------------------
// XmlAttributes

// By index in insertion order; by name the first entry of that exact name; null past
// the end or for an unknown name; texts copied in, a null text stored as "".
TEST(XmlAttributes, Getters) {
  XmlAttributes list;
  EXPECT_EQ(0u, list.getLength());
  EXPECT_EQ(nullptr, list.getName(0));
  EXPECT_EQ(nullptr, list.getType(0));
  EXPECT_EQ(nullptr, list.getValue("a"));
  char caller[] = "1";
  list.push("a", "CDATA", caller);
  list.push("a", "ID", "2");
  list.push("b", nullptr, nullptr);
  caller[0] = 'X';
  EXPECT_EQ("a/CDATA=1;a/ID=2;b/=;", entries(list));
  EXPECT_EQ("1", orNull(list.getValue("a")));
  EXPECT_EQ("CDATA", orNull(list.getType("a")));
  EXPECT_EQ("", orNull(list.getType("b")));
  EXPECT_EQ(nullptr, list.getValue("A"));
  EXPECT_EQ(nullptr, list.getType("a "));
  EXPECT_EQ(nullptr, list.getName(3));
  EXPECT_EQ(nullptr, list.getType(3u));
  EXPECT_EQ(nullptr, list.getValue(-1));
}

// Number texts: radix, a sign only in radix 10, 32-bit meaning of long, fixed notation.
TEST(XmlAttributes, NumberTexts) {
  const struct {
    std::string text;
    const char* expected;
  } kCases[] = {
      {pushed(255u, 16), "ff"}, {pushed(-5, 10), "-5"}, {pushed(0, 10), "0"},
      {pushed(4294967295u, 10), "4294967295"}, {pushed(-1, 16), "ffffffff"},
      {pushed(-1L, 16), "ffffffff"}, {pushed(4294967295UL, 16), "ffffffff"},
      {pushed(INT_MIN, 10), "-2147483648"}, {pushed(long{INT_MIN}, 10), "-2147483648"},
      {pushed(INT_MAX, 36), "zik0zj"}, {pushed(-1, 36), "1z141z3"},
      {pushed(32767, 2), "111111111111111"}, {pushed(1.5f), "1.500000"},
      {pushed(0.1), "0.100000"}, {pushed(-0.5), "-0.500000"},
      {pushed(9999999999999998.0), "9999999999999998.000000"},  // 23 characters
      {pushed(-999999999999999.0), "-999999999999999.000000"},
  };
  for (const auto& c : kCases) EXPECT_EQ(c.expected, c.text);
}

// Numbers outside the limits throw std::out_of_range and append nothing.
TEST(XmlAttributes, NumbersOutsideLimits) {
  XmlAttributes list;
  list.push("keep", "CDATA", "1");
  EXPECT_THROW(list.push("n", "CDATA", 1, 1), std::out_of_range);
  EXPECT_THROW(list.push("n", "CDATA", 1u, 37), std::out_of_range);
  EXPECT_THROW(list.push("n", "CDATA", 65536, 2), std::out_of_range);  // 17 characters
  EXPECT_THROW(list.push("n", "CDATA", 32768u, 2), std::out_of_range);
  EXPECT_THROW(list.push("n", "CDATA", -1, 2), std::out_of_range);
  EXPECT_THROW(list.push("n", "CDATA", 4294967296L, 16), std::out_of_range);
  EXPECT_THROW(list.push("n", "CDATA", -2147483649L, 10), std::out_of_range);
  EXPECT_THROW(list.push("n", "CDATA", 4294967296UL, 10), std::out_of_range);
  EXPECT_THROW(list.push("n", "CDATA", 1e17), std::out_of_range);
  EXPECT_THROW(list.push("n", "CDATA", 1e16), std::out_of_range);
  EXPECT_THROW(list.push("n", "CDATA", -1e15), std::out_of_range);
  EXPECT_THROW(list.push("n", "CDATA", 1e16f), std::out_of_range);
  EXPECT_EQ("keep/CDATA=1;", entries(list));
}

// clear() empties the list; refilling, copying and assigning give the new entries only.
TEST(XmlAttributes, ClearRefillAndCopy) {
  XmlAttributes list;
  list.push("first", "CDATA", "long old value");
  list.push("second", "CDATA", "2");
  list.clear();
  EXPECT_EQ("", entries(list));
  EXPECT_EQ(nullptr, list.getValue("second"));
  list.push("x", "CDATA", "v");
  const XmlAttributes copy(list);
  XmlAttributes assigned;
  assigned.push("a", "CDATA", "1");
  assigned.push("b", "CDATA", "2");
  assigned = list;
  const XmlAttributes& self = assigned;
  assigned = self;
  list.push("y", "CDATA", "w");
  EXPECT_EQ("x/CDATA=v;y/CDATA=w;", entries(list));
  EXPECT_EQ(nullptr, list.getValue("second"));
  EXPECT_EQ("x/CDATA=v;", entries(copy));
  EXPECT_EQ("x/CDATA=v;", entries(assigned));
}

// A locale with a decimal comma does not change the float texts.
TEST(XmlAttributes, FloatTextsIgnoreLocale) {
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "no de_DE.UTF-8 locale";
  const std::string f = pushed(1.5f), d = pushed(0.25);
  std::setlocale(LC_ALL, "C");
  EXPECT_EQ("1.500000", f);
  EXPECT_EQ("0.250000", d);
}

// ---------------------------------------------------------------------------------
// XmlEmitter

XmlAttributes attributes(std::initializer_list<std::pair<const char*, const char*>> pairs) {
  XmlAttributes list;
  for (const auto& p : pairs) list.push(p.first, "CDATA", p.second);
  return list;
}

// The exact pieces of every operation, one WriteBytes call each; the stream's result
// is ignored and the stream never flushed.
TEST(XmlEmitter, PiecesOfEachOperation) {
  const XmlAttributes none;
  const XmlAttributes two = attributes({{"i&d", "1\"2"}, {"k", ""}});
  const XmlAttributes one = attributes({{"x", "1"}});
  const struct {
    const char* what;
    std::function<void(XmlEmitter&)> call;
    Pieces expected;
  } kCases[] = {
      {"startDocument", [](XmlEmitter& x) { x.startDocument(); },
       {"<?xml version=\"1.0\" encoding=\"", "UTF-8", "\"?>\r\n"}},
      {"nothing", [](XmlEmitter& x) {
         x.endDocument();
         x.notationDecl("n", "p", "s");
         x.unparsedEntityDecl("n", "p", "s", "t");
       }, {}},
      {"documentTypeDecl", [](XmlEmitter& x) { x.documentTypeDecl("d&x"); },
       {"<!DOCTYPE ", "d&x", " [", "\r\n"}},
      {"endDocumentTypeDecl", [](XmlEmitter& x) { x.endDocumentTypeDecl(); }, {"]>"}},
      {"entityDecl", [](XmlEmitter& x) { x.entityDecl("e", "a&b.dtd"); },
       {"<!ENTITY ", "e", " SYSTEM ", "\"", "a&b.dtd", "\">", "\r\n"}},
      {"entityReference", [](XmlEmitter& x) { x.entityReference("r"); }, {"&", "r", ";", "\r\n"}},
      {"processingInstruction", [](XmlEmitter& x) { x.processingInstruction("pi", "d<x"); },
       {"<?", "pi", " ", "d<x", "?>"}},
      {"processingInstruction null", [](XmlEmitter& x) { x.processingInstruction("pi", nullptr); },
       {"<?", "pi", "?>"}},
      {"newline", [](XmlEmitter& x) { x.newline(); }, {"\r\n"}},
      {"startElement attributes", [&](XmlEmitter& x) { x.startElement("a<b", two, false); },
       {"<", "a&lt;b", " ", "i&amp;d", "=\"", "1&quot;2", "\"", " ", "k", "=\"", "", "\"", ">"}},
      {"startAndEndElement", [&](XmlEmitter& x) { x.startAndEndElement("e", none); },
       {"<", "e", "/>"}},
      {"startAndEndElement attribute", [&](XmlEmitter& x) { x.startAndEndElement("e", one); },
       {"<", "e", " ", "x", "=\"", "1", "\"", "/>"}},
      {"startElement attributes text", [&](XmlEmitter& x) { x.startElement("e", one, "v<"); },
       {"<", "e", " ", "x", "=\"", "1", "\"", ">", "v&lt;"}},
      {"startElement text", [](XmlEmitter& x) { x.startElement("e>", "t\n'"); },
       {"<", "e&gt;", ">", "t&#xA;&apos;"}},
      {"startElement empty text", [](XmlEmitter& x) { x.startElement("e", ""); },
       {"<", "e", ">", ""}},
      {"int", [](XmlEmitter& x) { x.startElement("n<", -1, 16); }, {"<", "n&lt;", ">", "ffffffff"}},
      {"unsigned", [](XmlEmitter& x) { x.startElement("n", 4294967295u, 10); },
       {"<", "n", ">", "4294967295"}},
      {"long", [](XmlEmitter& x) { x.startElement("n", -1L, 16); }, {"<", "n", ">", "ffffffff"}},
      {"float", [](XmlEmitter& x) { x.startElement("n", 1.5f); }, {"<", "n", ">", "1.500000"}},
      {"double", [](XmlEmitter& x) { x.startElement("n", 0.1); }, {"<", "n", ">", "0.100000"}},
      {"addValue", [](XmlEmitter& x) { x.addValue("a<b&\""); }, {"a<b&\"", " "}},
      {"endElement", [](XmlEmitter& x) { x.endElement("a<b", false); }, {"</", "a<b", ">"}},
  };
  for (const auto& c : kCases) {
    Recorder out;
    XmlEmitter xml(out);
    EXPECT_EQ(&out, &xml.getStream());
    c.call(xml);
    EXPECT_EQ(c.expected, out.pieces) << c.what;
    EXPECT_EQ(0, out.flushes) << c.what;
  }
}

// A short document, byte for byte.
TEST(XmlEmitter, WorkedExample) {
  OutputMemStream out;
  XmlEmitter xml(out);
  xml.startDocument();
  xml.startElement("a", attributes({{"id", "1"}}), false);
  xml.newline();
  xml.startElement("b", XmlAttributes(), "x<y");
  xml.endElement("b", false);
  xml.newline();
  xml.startElement("n", 255, 16);
  xml.endElement("n", false);
  xml.newline();
  xml.endElement("a", false);
  xml.newline();
  EXPECT_EQ(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<a id=\"1\">\r\n<b>x&lt;y</b>\r\n"
      "<n>ff</n>\r\n</a>\r\n",
      out.str());
}

// Indented end tags write the same bytes as plain ones, however deep the nesting.
TEST(XmlEmitter, IndentedEndElement) {
  std::string written[2];
  for (const bool indent : {false, true}) {
    OutputMemStream out;
    XmlEmitter xml(out);
    for (const char* name : {"a", "b", "c"}) xml.startElement(name, XmlAttributes(), indent);
    for (const char* name : {"c", "b", "a"}) xml.endElement(name, indent);
    xml.endElement("x", indent);
    written[indent] = out.str();
  }
  EXPECT_EQ("<a><b><c></c></b></a></x>", written[0]);
  EXPECT_EQ(written[0], written[1]);
}

// A number outside the limits throws std::out_of_range and writes nothing at all.
TEST(XmlEmitter, NumbersOutsideLimitsWriteNothing) {
  Recorder out;
  XmlEmitter xml(out);
  EXPECT_THROW(xml.startElement("n", 1, 1), std::out_of_range);
  EXPECT_THROW(xml.startElement("n", 65536u, 2), std::out_of_range);
  EXPECT_THROW(xml.startElement("n", 4294967296L, 16), std::out_of_range);
  EXPECT_THROW(xml.startElement("n", 4294967296UL, 16), std::out_of_range);
  EXPECT_THROW(xml.startElement("n", 1e17), std::out_of_range);
  EXPECT_THROW(xml.startElement("n", -1e16f), std::out_of_range);
  EXPECT_EQ(Pieces(), out.pieces);
}

// Start tags read the attributes through the list's virtual getters.
TEST(XmlEmitter, AttributesThroughVirtualGetters) {
  class Computed : public XmlAttributes {
   public:
    using XmlAttributes::getName;
    using XmlAttributes::getType;
    using XmlAttributes::getValue;
    unsigned int getLength() const override { return 2; }
    const char* getName(unsigned int i) const override { return i == 0 ? "p" : "q"; }
    const char* getValue(unsigned int i) const override { return i == 0 ? "1" : "<"; }
  };
  Computed list;
  list.push("hidden", "CDATA", "x");
  OutputMemStream out;
  XmlEmitter xml(out);
  xml.startElement("e", list, false);
  xml.startAndEndElement("f", list);
  xml.startElement("g", list, "t");
  EXPECT_EQ("<e p=\"1\" q=\"&lt;\"><f p=\"1\" q=\"&lt;\"/><g p=\"1\" q=\"&lt;\">t", out.str());
}

}  // namespace
