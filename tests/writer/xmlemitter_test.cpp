// tests/writer/xmlemitter_test.cpp: the attribute list (getters, number texts and their
// limits, copies) and the streaming writer's exact pieces per operation.
#include "xml/writer/xmlemitter.h"

#include <clocale>
#include <climits>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "xml/common/common.h"

namespace {

using Pieces = std::vector<std::string>;

std::string orNull(const char* s) { return s != nullptr ? s : "(null)"; }

// Keeps every WriteBytes call as its own piece and a flush as the piece "<flush>".
struct Recorder : OutputStream {
  unsigned int WriteBytes(const void* data, unsigned int count) override {
    return pieces.emplace_back(static_cast<const char*>(data), count), 0;
  }
  bool Flush() override { return pieces.emplace_back("<flush>"), true; }
  Pieces pieces;
};

// A list whose virtual getters hide its stored entries.
struct Computed : XmlAttributes {
  using XmlAttributes::getName, XmlAttributes::getValue;
  Computed() { push("hidden", "CDATA", "x"), push("hidden", "CDATA", "y"); }
  unsigned int getLength() const override { return 1; }
  const char* getName(unsigned int) const override { return "p"; }
  const char* getValue(unsigned int) const override { return "<"; }
};

// The list read by index, as "name/type=value;" per entry.
std::string entries(const XmlAttributes& list) {
  std::string s;
  for (unsigned int i = 0; i < list.getLength(); ++i)
    s += orNull(list.getName(i)) + "/" + orNull(list.getType(i)) + "=" +
         orNull(list.getValue(i)) + ";";
  return s;
}

// push stores text, and startElement("n", args...) writes it after "<n>".
template <class... Args>
void writes(const char* text, Args... args) {
  XmlAttributes list;
  list.push("n", "CDATA", args...);
  EXPECT_EQ(text, orNull(list.getValue(0)));
  Recorder out;
  XmlEmitter(out).startElement("n", args...);
  EXPECT_EQ(Pieces({"<", "n", ">", text}), out.pieces);
}

// Both push and startElement throw std::out_of_range, appending and writing nothing.
template <class... Args>
void rejects(Args... args) {
  XmlAttributes list;
  list.push("keep", "CDATA", "1");
  Recorder out;
  XmlEmitter xml(out);
  EXPECT_THROW(list.push("n", "CDATA", args...), std::out_of_range);
  EXPECT_THROW(xml.startElement("n", args...), std::out_of_range);
  EXPECT_EQ("keep/CDATA=1;", entries(list));
  EXPECT_EQ(Pieces(), out.pieces);
}

// Getters by index and first exact name, copied texts; clear, copy and assign keep only new ones.
TEST(XmlAttributes, GettersClearAndCopy) {
  XmlAttributes list;
  EXPECT_TRUE(!list.getName(0) && !list.getType(0) && !list.getValue("a") && !list.getLength());
  char caller[] = "1";
  list.push("a", "CDATA", caller), list.push("a", "ID", "2"), list.push("b", nullptr, nullptr);
  caller[0] = 'X';
  XmlAttributes assigned(list);
  EXPECT_EQ("a/CDATA=1;a/ID=2;b/=;", entries(list));
  EXPECT_EQ("1/CDATA/", orNull(list.getValue("a")) + "/" + orNull(list.getType("a")) + "/" +
                            orNull(list.getType("b")));
  EXPECT_TRUE(!list.getValue("A") && !list.getType("a ") && !list.getName(3) && !list.getValue(-1));
  list.clear();
  list.push("x", "CDATA", "v");
  const XmlAttributes copy(list);
  assigned = list;
  assigned = static_cast<const XmlAttributes&>(assigned);
  list.push("y", "CDATA", "w");
  EXPECT_EQ(nullptr, list.getValue("b"));
  EXPECT_EQ("x/CDATA=v;y/CDATA=w;|x/CDATA=v;|x/CDATA=v;",
            entries(list) + "|" + entries(copy) + "|" + entries(assigned));
}

// Number texts (radix, sign, 32-bit long, "%f") in list and emitter; limits reject.
TEST(XmlAttributes, NumberTextsAndLimits) {
  writes("ff", 255u, 16), writes("-5", -5, 10), writes("0", 0, 10), writes("1.500000", 1.5f);
  writes("4294967295", 4294967295u, 10), writes("ffffffff", -1, 16), writes("ffffffff", -1L, 16);
  writes("ffffffff", 4294967295UL, 16), writes("-2147483648", INT_MIN, 10);
  writes("-2147483648", long{INT_MIN}, 10), writes("zik0zj", INT_MAX, 36);
  writes("1z141z3", -1, 36), writes("111111111111111", 32767, 2), writes("0.100000", 0.1);
  writes("-0.500000", -0.5), writes("9999999999999998.000000", 9999999999999998.0);
  writes("-999999999999999.000000", -999999999999999.0);
  rejects(1, 1), rejects(1u, 37), rejects(65536, 2), rejects(-1, 2), rejects(32768u, 2);
  rejects(4294967296L, 16), rejects(-2147483649L, 10), rejects(4294967296UL, 10);
  rejects(1e16), rejects(-1e15), rejects(1e16f);
}

// A locale with a decimal comma does not change the float texts.
TEST(XmlAttributes, FloatTextsIgnoreLocale) {
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "no de_DE.UTF-8 locale";
  writes("1.500000", 1.5f), writes("0.250000", 0.25);
  std::setlocale(LC_ALL, "C");
}

// Each operation's exact WriteBytes pieces, escaping, no flush, virtual getters honoured;
// indentation never writes anything, however often asked for.
TEST(XmlEmitter, PiecesOfEachOperation) {
#define OP(...) [&](XmlEmitter& x) { x.__VA_ARGS__; }
  XmlAttributes none, two;
  two.push("i&d", "CDATA", "1\"2"), two.push("k", "CDATA", "");
  const Computed computed;
  const struct {
    std::function<void(XmlEmitter&)> call;
    Pieces expected;
  } kCases[] = {
      {OP(startDocument()), {"<?xml version=\"1.0\" encoding=\"", "UTF-8", "\"?>\r\n"}},
      {OP(endDocument(), x.notationDecl("n", "p", "s"), x.unparsedEntityDecl("n", "p", "s", "t")),
       {}},
      {OP(documentTypeDecl("d&x")), {"<!DOCTYPE ", "d&x", " [", "\r\n"}},
      {OP(endDocumentTypeDecl()), {"]>"}},
      {OP(entityDecl("e", "a&b.dtd")),
       {"<!ENTITY ", "e", " SYSTEM ", "\"", "a&b.dtd", "\">", "\r\n"}},
      {OP(entityReference("r")), {"&", "r", ";", "\r\n"}},
      {OP(processingInstruction("pi", "d<x")), {"<?", "pi", " ", "d<x", "?>"}},
      {OP(processingInstruction("pi", nullptr)), {"<?", "pi", "?>"}},
      {OP(newline()), {"\r\n"}},
      {OP(startElement("a<b", two, false)),
       {"<", "a&lt;b", " ", "i&amp;d", "=\"", "1&quot;2", "\"", " ", "k", "=\"", "", "\"", ">"}},
      {OP(startElement("e", computed, true)), {"<", "e", " ", "p", "=\"", "&lt;", "\"", ">"}},
      {OP(startAndEndElement("e", none)), {"<", "e", "/>"}},
      {OP(startAndEndElement("e", computed)), {"<", "e", " ", "p", "=\"", "&lt;", "\"", "/>"}},
      {OP(startElement("e", computed, "v<")),
       {"<", "e", " ", "p", "=\"", "&lt;", "\"", ">", "v&lt;"}},
      {OP(startElement("e>", "t\n'")), {"<", "e&gt;", ">", "t&#xA;&apos;"}},
      {OP(startElement("e", "")), {"<", "e", ">", ""}},
      {OP(startElement("n<", -1, 16)), {"<", "n&lt;", ">", "ffffffff"}},
      {OP(addValue("a<b&\"")), {"a<b&\"", " "}},
      {OP(endElement("a<b", false)), {"</", "a<b", ">"}},
      {OP(endElement("a<b", true)), {"</", "a<b", ">"}},
      {OP(endElement("a", true), x.endElement("b", true)), {"</", "a", ">", "</", "b", ">"}}};
#undef OP
  for (std::size_t i = 0; i < sizeof kCases / sizeof kCases[0]; ++i) {
    Recorder out;
    XmlEmitter xml(out);
    EXPECT_EQ(&out, &xml.getStream());
    kCases[i].call(xml);
    EXPECT_EQ(kCases[i].expected, out.pieces) << "case " << i;
  }
}

}  // namespace
