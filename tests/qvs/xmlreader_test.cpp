// tests/qvs/xmlreader_test.cpp: reading element trees from their XML form
// (QVS::XmlUtils::streamIn), alone and in round trips with streamOut.
#include "xml/qvs/xmlutils.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/logcapture.h"
#include "support/throws.h"
#include "xml/xmlexception.h"

namespace {

using namespace QVS;

std::string describe(const ValueBase& value);

// "key#weight(name=value,...)" (no "#weight" for -1) and then the value: 'text', [items]
// or {children} in their present order (followed by "~sorted" unless unsorted).
std::string describe(const Element& element) {
  std::string out = element.key().c_str();
  if (element.weight() != -1) out += "#" + std::to_string(element.weight());
  const char* separator = "(";
  for (const Attribute& a : element.attributes()) {
    out += separator + std::string(a.first.c_str()) + "=" + a.second.c_str();
    separator = ",";
  }
  if (element.attributeSize() != 0) out += ")";
  return element.hasValue() ? out + describe(element.value()) : out;
}

std::string describe(const ValueBase& value) {
  std::string out;
  if (value.type() == ValueBase::Single) {
    const ACE_CString& text = static_cast<const SingleValue&>(value).value();
    return "'" + std::string(text.c_str(), text.length()) + "'";
  }
  if (value.type() == ValueBase::Multi) {
    for (const ValueBase* item : static_cast<const MultiValue&>(value)) {
      out += (out.empty() ? "[" : ",") + describe(*item);
    }
    return out.empty() ? "[]" : out + "]";
  }
  const auto& list = static_cast<const MultiElementValue&>(value);
  for (auto it = list.beginNoSort(); it != list.endNoSort(); ++it) {
    out += (out.empty() ? "{" : " ") + describe(**it);
  }
  return (out.empty() ? "{" : out) + "}" + (list.sortState() == 0 ? "" : "~sorted");
}

void read(const std::string& text, Element& root, const char* name = "r.xml") {
  InputMemStream in(text.data(), static_cast<unsigned int>(text.size()));
  XmlUtils::streamIn(in, root, name);
}

std::string readBack(const std::string& text) {
  Element root;
  read(text, root);
  return describe(root);
}

std::string written(const Element& tree, const char* prefix,
                    XmlUtils::Ordering order = XmlUtils::ByWeight) {
  OutputMemStream out;
  XmlUtils::streamOut(tree, out, order, prefix);
  return out.str();
}

// The writer's output reads back unchanged, escapes included; weights below root come back -1.
TEST(XmlUtilsStreamIn, RoundTrip) {
  Element tree("Patient", 5);
  tree.insertAttribute("MRN", "a&b<c>\"d'e\r\nf");
  tree.insertAttribute("Site", "");
  MultiElementValue& children = tree.addMultiElement();
  children.addSingle("Name", {{"lang", "en"}}, 1).set("x & y < z > \" ' \r\n\t \r end ");
  MultiValue& codes = children.addMulti("Codes", {}, 3);
  codes.addSingle().set("1");
  MultiElementValue& item = codes.addMultiElement();
  item.addSingle("Inner", {}, 5).set("i");
  item.addMulti("Deep", {}, 6).addSingle().set("d");
  codes.addSingle().set("\t");
  children.addMultiElement("Group", {{"g", "1"}}, 2).addSingle("Leaf").set(" ");
  const std::string xml = written(tree, "");
  Element back("", 9);
  read(xml, back);
  EXPECT_EQ("Patient#9(MRN=a&b<c>\"d'e\r\nf,Site=){Name(lang=en)'x & y < z > \" ' \r\n\t \r "
            "end ' Group(g=1){Leaf' '} Codes['1',{Inner'i' Deep['d']},'\t']}",
            describe(back));
  EXPECT_EQ(written(tree, "", XmlUtils::ByKey), written(back, "", XmlUtils::ByKey));
  Element prefixed;
  read(written(tree, "q:"), prefixed);
  EXPECT_EQ(written(tree, "q:", XmlUtils::ByKey), written(prefixed, "", XmlUtils::ByKey));
}

// The reading rules on small documents.
TEST(XmlUtilsStreamIn, ReadingRules) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"<k></k>", "k"},
      {"<k/>", "k"},
      {"<k>  </k>", "k'  '"},
      {"<k a=\"x\ty\" b=\"&#9;\"/>", "k(a=x y,b=\t)"},
      {"<k><val>a</val><val></val><val>b</val></k>", "k['a','b']"},
      {"<k><val/></k>", "k[]"},
      {"<k><val><x>1</x><y>2</y></val><val>z</val></k>", "k[{x'1' y'2'},'z']"},
      {"<k><val><x/></val><val><y/></val></k>", "k[{x},{y}]"},
      {"<k><a>1</a><val>2</val></k>", "k['2']"},
      {"<k><a>1</a><val><b>3</b></val></k>", "k[{b'3'}]"},
      {"<k><val>1</val><a>2</a><b>3</b></k>", "k['1',{a'2' b'3'}]"},
      {"<k><val><x><val>1</val></x></val></k>", "k[{x['1']}]"},
      {"<k>t<b>1</b>u<a/>v</k>", "k{b'1' a}"},
      {"<k><val x=\"1\">a</val></k>", "k['a']"},
      {"<k><val>a</val><val><val>b</val><val>c</val></val></k>", "k['a','b','c']"},
      {"<q:Patient xmlns:q=\"u\"><q:val>1</q:val></q:Patient>", "q:Patient(xmlns:q=u){q:val'1'}"},
      {"<\xC3\xA9 a=\"\xE2\x82\xAC\">\xC3\xA9\xCE\xB1</\xC3\xA9>", "\xE9(a=\x80)'\xE9?'"},
      {"<k><![CDATA[<&>]]>&amp;</k>", "k'<&>&'"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.second, readBack(c.first)) << c.first;
}

// The caller's element: its attributes and weight stay, a value it holds is cleared.
TEST(XmlUtilsStreamIn, IntoCallersElement) {
  Element root("old", 4);
  root.insertAttribute("z", "0");
  root.addMulti().addSingle().set("old");
  read("<k a=\"1\" b=\"2\"><c>3</c></k>", root);
  EXPECT_EQ("k#4(z=0,a=1,b=2){c'3'}", describe(root));
  read("<k/>", root);
  EXPECT_EQ("k#4(z=0,a=1,b=2)", describe(root));
}

// Errors: an outermost "val" and a broken document throw; root keeps what was read.
TEST(XmlUtilsStreamIn, Errors) {
  Element val;
  EXPECT_THROW(read("<val>1</val>", val), XmlException::ParserError);
  EXPECT_FALSE(val.hasValue());
  LogCapture log;
  Element root;
  EXPECT_THROW_WHAT(read("<k a=\"1\"><x>1</x><y>2", root, "broken.xml"),
                    XmlException::ParserError, "XmlBaseBuilder::build: Parsing is incomplete.");
  EXPECT_EQ("k(a=1){x'1' y}", describe(root));
  ASSERT_EQ(1u, log.lines().size());
  EXPECT_NE(std::string::npos, log.lines()[0].text.find(") in file broken.xml, line 1, col "));
}

// Deep documents read (and the tree is destroyed) without exhausting the stack.
TEST(XmlUtilsStreamIn, DeepDocument) {
  const int depth = 100000;
  std::string text;
  for (int i = 0; i < depth; ++i) text += "<e>";
  text += "d";
  for (int i = 0; i < depth; ++i) text += "</e>";
  Element root;
  read(text, root);
  const Element* e = &root;
  int levels = 1;
  for (; e->hasValue() && e->value().type() == ValueBase::MultiElement; ++levels) {
    ASSERT_EQ(1, e->getMultiElement().size());
    e = *e->getMultiElement().begin();
  }
  EXPECT_EQ(depth, levels);
  EXPECT_EQ("e'd'", describe(*e));
}

}  // namespace
