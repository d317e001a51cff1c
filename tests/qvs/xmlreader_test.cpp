// tests/qvs/xmlreader_test.cpp: reading element trees from their XML form
// (QVS::XmlUtils::streamIn), alone and in round trips with streamOut.
#include "xml/qvs/xmlutils.h"

#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "support/logcapture.h"
#include "support/throws.h"
#include "xml/xmlexception.h"

namespace {

using namespace QVS;

std::string describe(const ValueBase& value);

// "key#weight(name=value,...)" (no "#weight" for -1), then 'text', [items] or {children}
// in their present order ("~sorted" appended unless unsorted).
std::string describe(const Element& element) {
  std::string out = element.key().c_str(), attributes;
  if (element.weight() != -1) out += "#" + std::to_string(element.weight());
  for (const Attribute& a : element.attributes())
    attributes += (attributes.empty() ? "(" : ",") + std::string(a.first.c_str()) + "=" +
                  a.second.c_str();
  out += attributes.empty() ? "" : attributes + ")";
  return element.hasValue() ? out + describe(element.value()) : out;
}

std::string describe(const ValueBase& value) {
  std::string out;
  if (value.type() == ValueBase::Single) {
    const ACE_CString& text = static_cast<const SingleValue&>(value).value();
    return "'" + std::string(text.c_str(), text.length()) + "'";
  }
  if (value.type() == ValueBase::Multi) {
    for (const ValueBase* item : static_cast<const MultiValue&>(value))
      out += (out.empty() ? "" : ",") + describe(*item);
    return "[" + out + "]";
  }
  const auto& list = static_cast<const MultiElementValue&>(value);
  for (auto it = list.beginNoSort(); it != list.endNoSort(); ++it)
    out += (out.empty() ? "" : " ") + describe(**it);
  return "{" + out + "}" + (list.sortState() == 0 ? "" : "~sorted");
}

// Reads text into root and describes root.
std::string read(const std::string& text, Element& root) {
  InputMemStream in(text.data(), static_cast<unsigned int>(text.size()));
  XmlUtils::streamIn(in, root, "broken.xml");
  return describe(root);
}

// The writer's output reads back unchanged, escapes included; weights below root come back -1.
TEST(XmlUtilsStreamIn, RoundTrip) {
  Element tree("Patient", 5), back("", 9);
  tree.insertAttribute("MRN", "a&b<c>\"d'e\r\nf");
  MultiElementValue& children = tree.addMultiElement();
  children.addSingle("Name", {{"lang", "en"}}, 1).set("x & y < z > \" ' \r\n\t \r end ");
  MultiValue& codes = children.addMulti("Codes", {}, 3);
  codes.addMultiElement().addMulti("Deep", {}, 6).addSingle().set("d");
  codes.addSingle().set("\t");
  children.addMultiElement("Group", {{"g", "1"}}, 2).addSingle("Leaf").set(" ");
  OutputMemStream out;
  XmlUtils::streamOut(tree, out, XmlUtils::ByWeight, "");
  EXPECT_EQ("Patient#9(MRN=a&b<c>\"d'e\r\nf){Name(lang=en)'x & y < z > \" ' \r\n\t \r end ' "
            "Group(g=1){Leaf' '} Codes[{Deep['d']},'\t']}",
            read(out.str(), back));
}

// The reading rules: texts, <val> lists, element items, dropped mixed text, names in Windows-1252.
TEST(XmlUtilsStreamIn, ReadingRules) {
  const std::pair<std::string, std::string> cases[] = {
      {"<k/>", "k"}, {"<k>  </k>", "k'  '"}, {"<k a=\"x\ty\" b=\"&#9;\"/>", "k(a=x y,b=\t)"},
      {"<k><val>a</val><val></val><val/><val x=\"1\">b</val></k>", "k['a','b']"},
      {"<k><val><x>1</x><y/></val><val><z/></val><val>t</val></k>", "k[{x'1' y},{z},'t']"},
      {"<k><a>1</a><val>2</val></k>", "k['2']"}, {"<k><a>1</a><val><b/></val></k>", "k[{b}]"},
      {"<k><val>1</val><a>2</a><b>3</b></k>", "k['1',{a'2' b'3'}]"}, {"<k><val/></k>", "k[]"},
      {"<k><val>a</val><val><val>b</val><val>c</val></val></k>", "k['a','b','c']"},
      {"<k><val><x><val>1</val></x></val></k>", "k[{x['1']}]"},
      {"<k>t<b>1</b>u<a/>v</k>", "k{b'1' a}"}, {"<k><![CDATA[<&>]]>&amp;</k>", "k'<&>&'"},
      {"<q:P xmlns:q=\"u\"><q:val>1</q:val></q:P>", "q:P(xmlns:q=u){q:val'1'}"},
      {"<\xC3\xA9 a=\"\xE2\x82\xAC\">\xC3\xA9\xCE\xB1</\xC3\xA9>", "\xE9(a=\x80)'\xE9?'"},
      // Texts in several chunks, supplementary characters as one "?" each; attribute names
      // with "?" for what the code page lacks, values keeping low bytes.
      {"<k>a&amp;&#x1F600;&#xE9;b\xF0\x9F\x98\x80" "c</k>", "k'a&?\xE9" "b?c'"},
      {"<k \xC5\x81=\"\xC5\x81\xF0\x9F\x98\x80\" b=\"\"/>", "k(?=A?,b=)"},
      {"<longer-name>0123456789\xC3\xA9" "abcdefghijklmnopqrstuvwxyz&lt;</longer-name>",
       "longer-name'0123456789\xE9" "abcdefghijklmnopqrstuvwxyz<'"},
  };
  for (const auto& [text, expected] : cases) {
    Element root;
    EXPECT_EQ(expected, read(text, root)) << text;
  }
}

// Into the caller's element: attributes appended, weight kept, a held value cleared; errors.
TEST(XmlUtilsStreamIn, IntoCallersElementAndErrors) {
  Element root("old", 4), val;
  root.insertAttribute("z", "0");
  root.addMulti().addSingle().set("old");
  EXPECT_EQ("k#4(z=0,a=1){c'3'}", read("<k a=\"1\"><c>3</c></k>", root));
  EXPECT_EQ("k#4(z=0,a=1)", read("<k/>", root));
  EXPECT_THROW(read("<val>1</val>", val), XmlException::ParserError);
  EXPECT_FALSE(val.hasValue());
  LogCapture log;
  EXPECT_THROW_WHAT(read("<b a=\"1\"><x>1</x><y>2", root), XmlException::ParserError,
                    "XmlBaseBuilder::build: Parsing is incomplete.");
  EXPECT_EQ("b#4(z=0,a=1,a=1){x'1' y}", describe(root));
  ASSERT_EQ(1u, log.lines().size());
  EXPECT_NE(std::string::npos, log.lines()[0].text.find(") in file broken.xml, line 1, col "));
}

// What the reader builds is an ordinary tree: its texts can be replaced by shorter and
// longer ones, copied, cloned, compared, and its parts deleted one by one.
TEST(XmlUtilsStreamIn, ReadValuesBehaveAsAnyOther) {
  Element root;
  read("<r><a>abcdef</a><b>xy</b><m><val>v1</val><val>v2</val></m><c>text</c></r>", root);
  MultiElementValue& children = root.getMultiElement();
  SingleValue& a = children.getElement("a").getSingle();
  a.set("abc");
  EXPECT_EQ("abc", std::string(a.value().c_str()));
  a.set("abcdef");
  a.set(std::string("a\0b", 3).c_str(), 3);
  EXPECT_EQ(std::string("a\0b", 3), std::string(a.value().c_str(), a.value().length()));
  a.set("a text longer than the one read");
  const ACE_CString copy = a.value();
  a.set("");
  EXPECT_EQ("a text longer than the one read", std::string(copy.c_str()));
  EXPECT_EQ(0u, a.value().length());

  SingleValue& b = children.getElement("b").getSingle();
  std::unique_ptr<SingleValue> clone(b.clone());
  EXPECT_TRUE(*clone == b);
  b.set("z");
  EXPECT_EQ("xy", std::string(clone->value().c_str()));
  Element& c = children.getElement("c");
  c.value(c.value());  // a copy of its own value replaces it
  EXPECT_EQ("text", std::string(c.getSingle().value().c_str()));

  MultiValue& m = children.getElement("m").getMulti();
  m.erase(m.begin());
  EXPECT_EQ("v2", m.valueAsString());
  std::unique_ptr<Element> detached(children.getElement("m").clone());
  children.erase("m");
  children.addElement(detached.release());
  children.getElement("c").clear();
  EXPECT_EQ("r{a'' b'z' c m['v2']}~sorted", describe(root));
}

// A read element keeps its key and attributes in its own heap block; changing them, in
// place or longer, copying the element and deleting it behave as for any element.
TEST(XmlUtilsStreamIn, ReadElementsBehaveAsAnyOther) {
  Element root;
  read("<r><element x=\"1\" yy=\"22\">t</element><e/></r>", root);
  MultiElementValue& children = root.getMultiElement();
  std::unique_ptr<Element> detached(children.getElement("e").clone());
  children.erase("e");
  Element& e = children.getElement("element");
  const Element before(e);
  e.key("el");                                      // shorter: fits the bytes read
  e.key("a key longer than the one read");
  e.insertAttribute("z", "3");                      // the list grows out of the block
  e.insertAttribute("w", std::string(100, 'w').c_str());
  e.eraseAttribute("x");
  bool found = false;
  EXPECT_EQ("22", e.getAttributeValue("yy", found));
  EXPECT_EQ("3", e.getAttributeValue("z", found));
  EXPECT_EQ("element", before.key());
  EXPECT_EQ("1", before.getAttributeValue("x", found));
  Element copy;
  copy = e;
  e.clearAttributes();
  e.insertAttribute("v", "4");
  EXPECT_EQ(3u, copy.attributeSize());
  EXPECT_EQ("a key longer than the one read", copy.key());
  children.clear();
  EXPECT_EQ("e", detached->key());
}

// 100,000 levels read, written back in either order and destroyed without exhausting
// the stack.
TEST(XmlUtilsStreamIn, DeepDocument) {
  std::string open, close;
  for (int i = 0; i < 100000; ++i) open += "<e>", close += "</e>\r\n";
  const std::string text = open + "d" + close;
  InputMemStream in(text.c_str());
  Element root;
  XmlUtils::streamIn(in, root, "deep.xml");
  for (const XmlUtils::Ordering order : {XmlUtils::ByKey, XmlUtils::ByWeight}) {
    OutputMemStream out;
    XmlUtils::streamOut(root, out, order, "");
    EXPECT_TRUE(text == out.str()) << order;
  }
}

}  // namespace
