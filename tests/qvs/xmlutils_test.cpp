// tests/qvs/xmlutils_test.cpp: writing element trees in their XML form: both orders,
// prefixes, value lists and their nesting, the value overload, escaping, the sort side
// effect and trees far deeper than the call stack.
#include "xml/qvs/xmlutils.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "xml/common/common.h"
#include "xml/qvs/element.h"
#include "xml/xmlstringconversion.h"

namespace {

using QVS::AttributeVector;
using QVS::Element;
using QVS::MultiElementValue;
using QVS::MultiValue;
using QVS::XmlUtils;

// Collects what it gets through WriteBytes, as a caller's own stream does, and counts
// flushes.
class Collector : public OutputStream {
 public:
  unsigned int WriteBytes(const void* data, unsigned int count) override {
    bytes.append(static_cast<const char*>(data), count);
    return count;
  }
  bool Flush() override {
    ++flushes;
    return true;
  }
  std::string bytes;
  int flushes = 0;
};

// What streamOut writes for an element or a value; the memory stream, a file stream and
// a caller's own stream all get the same bytes, and none is flushed.
template <class T>
std::string written(const T& tree, XmlUtils::Ordering order = XmlUtils::ByKey,
                    const char* prefix = "") {
  OutputMemStream memory;
  XmlUtils::streamOut(tree, memory, order, ACE_CString(prefix));
  Collector own;
  XmlUtils::streamOut(tree, own, order, ACE_CString(prefix));
  EXPECT_EQ(memory.str(), own.bytes);
  EXPECT_EQ(0, own.flushes);
  FILE* const file = std::tmpfile();
  EXPECT_NE(nullptr, file);
  if (file == nullptr) return memory.str();
  {
    OutputFileStream onFile(file);
    XmlUtils::streamOut(tree, onFile, order, ACE_CString(prefix));
    EXPECT_TRUE(onFile.Flush());
  }
  std::rewind(file);
  std::string fromFile(memory.size() + 1, '\0');
  fromFile.resize(std::fread(&fromFile[0], 1, fromFile.size(), file));
  std::fclose(file);
  EXPECT_EQ(memory.str(), fromFile);
  return memory.str();
}

// Patient (MRN M1) holding Order (weight 1, "a<b"), Exam (weight 5, values x and y) and
// Study (weight 3, no value).
Element patient() {
  Element p("Patient");
  p.insertAttribute("MRN", "M1");
  MultiElementValue& children = p.addMultiElement();
  children.addSingle("Order", AttributeVector(), 1).set("a<b");
  MultiValue& exam = children.addMulti("Exam", AttributeVector(), 5);
  exam.addSingle().set("x");
  exam.addSingle().set("y");
  children.addElement("Study", AttributeVector(), 3);
  return p;
}

// The patient tree by key, by weight and with a prefix, byte for byte; the element
// without value and the weights never appear.
TEST(XmlUtils, PatientExample) {
  EXPECT_EQ(
      "<Patient MRN=\"M1\"><Exam><val>x</val>\r\n<val>y</val>\r\n</Exam>\r\n"
      "<Order>a&lt;b</Order>\r\n</Patient>\r\n",
      written(patient()));
  EXPECT_EQ(
      "<Patient MRN=\"M1\"><Order>a&lt;b</Order>\r\n<Exam><val>x</val>\r\n<val>y</val>\r\n"
      "</Exam>\r\n</Patient>\r\n",
      written(patient(), XmlUtils::ByWeight));
  EXPECT_EQ(
      "<q:Patient MRN=\"M1\"><q:Exam><val>x</val>\r\n<val>y</val>\r\n</q:Exam>\r\n"
      "<q:Order>a&lt;b</q:Order>\r\n</q:Patient>\r\n",
      written(patient(), XmlUtils::ByKey, "q:"));
}

// An element list inside a value list is a "val" carrying the holder's attributes;
// prefixes go on element tags only, never on "val" or attribute names.
TEST(XmlUtils, ElementListInValueList) {
  Element exam("Exam");
  exam.insertAttribute("IsDeleted", "1");
  MultiValue& items = exam.addMulti();
  items.addSingle().set("x");
  items.addMultiElement().addSingle("Study").set("3");
  EXPECT_EQ(
      "<Exam IsDeleted=\"1\"><val>x</val>\r\n<val IsDeleted=\"1\"><Study>3</Study>\r\n</val>\r\n"
      "</Exam>\r\n",
      written(exam));
  EXPECT_EQ(
      "<p:Exam IsDeleted=\"1\"><val>x</val>\r\n<val IsDeleted=\"1\"><p:Study>3</p:Study>\r\n"
      "</val>\r\n</p:Exam>\r\n",
      written(exam, XmlUtils::ByWeight, "p:"));
}

// Elements without value write nothing, attributes or not; empty values write their
// start tag directly followed by the end tag.
TEST(XmlUtils, EmptyValues) {
  Element e("e");
  e.insertAttribute("a", "1");
  EXPECT_EQ("", written(e));
  e.addSingle();
  EXPECT_EQ("<e a=\"1\"></e>\r\n", written(e));
  e.addMulti();
  EXPECT_EQ("<e a=\"1\"></e>\r\n", written(e));
  e.addMultiElement().addElement("none", AttributeVector(), 1);
  EXPECT_EQ("<e a=\"1\"></e>\r\n", written(e, XmlUtils::ByWeight));
  e.getMultiElement().clear();
  EXPECT_EQ("<e a=\"1\"></e>\r\n", written(e));
}

// Children in byte-wise key order, or by weight with equal weights in key order; the
// lists are left sorted that way.
TEST(XmlUtils, OrderAndSortState) {
  Element root("r");
  MultiElementValue& list = root.addMultiElement();
  list.addSingle("b", AttributeVector(), 2).set("1");
  list.addSingle("a", AttributeVector(), 2).set("2");
  list.addSingle("c", AttributeVector(), 1).set("3");
  MultiElementValue& inner = list.addMulti("B", AttributeVector(), 9).addMultiElement();
  inner.addSingle("y", AttributeVector(), 1).set("4");
  inner.addSingle("x", AttributeVector(), 2).set("5");
  EXPECT_EQ(
      "<r><B><val><x>5</x>\r\n<y>4</y>\r\n</val>\r\n</B>\r\n<a>2</a>\r\n<b>1</b>\r\n"
      "<c>3</c>\r\n</r>\r\n",
      written(root));
  EXPECT_EQ(1, list.sortState());
  EXPECT_EQ(1, inner.sortState());
  EXPECT_EQ(
      "<r><c>3</c>\r\n<a>2</a>\r\n<b>1</b>\r\n<B><val><y>4</y>\r\n<x>5</x>\r\n</val>\r\n</B>\r\n"
      "</r>\r\n",
      written(root, XmlUtils::ByWeight));
  EXPECT_EQ(2, list.sortState());
  EXPECT_EQ(2, inner.sortState());
  EXPECT_EQ("c", std::string((*list.beginNoSort())->key().c_str()));
}

// Texts, attribute values and attribute names are escaped; white space is kept.
TEST(XmlUtils, Escaping) {
  Element e("e");
  e.insertAttribute("a", "&<>\"'\n\r");
  e.addMulti().addSingle().set("&<>\"'\n\r");
  EXPECT_EQ(
      "<e a=\"&amp;&lt;&gt;&quot;&apos;&#xA;&#xD;\"><val>&amp;&lt;&gt;&quot;&apos;&#xA;&#xD;</val>"
      "\r\n</e>\r\n",
      written(e));
  Element s("s");
  s.insertAttribute("n\xe9", "v");
  s.addSingle().set(" \t x ");
  EXPECT_EQ("<s n\xc3\xa9=\"v\"> \t x </s>\r\n", written(s));
}

// Texts and attribute values of every length up to 40 with a special byte at every
// position (or none) are escaped as ConvertStringToXmlString escapes them.
TEST(XmlUtils, EscapingEveryLengthAndPosition) {
  for (std::size_t length = 0; length <= 40; ++length) {
    for (std::size_t special = 0; special <= length; ++special) {
      std::string text;
      for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('a' + i % 26);
      if (special < length) text[special] = "<&\"\n\xe9"[special % 5];
      Element e("e");
      e.insertAttribute("a", text.c_str());
      e.addSingle().set(text.c_str());
      ACE_CString scratch;
      const std::string escaped = ConvertStringToXmlString(text.c_str(), scratch);
      ASSERT_EQ("<e a=\"" + escaped + "\">" + escaped + "</e>\r\n", written(e))
          << "length " << length << ", special at " << special;
    }
  }
}

// A value list inside a value list is a "val" without attributes holding "val" items;
// the outer list's later items stay "val" items.
TEST(XmlUtils, NestedValueList) {
  Element e("E");
  e.insertAttribute("a", "1");
  MultiValue& outer = e.addMulti();
  outer.addSingle().set("x");
  MultiValue& nested = outer.addMulti();
  nested.addSingle().set("y");
  nested.addSingle().set("z");
  outer.addSingle().set("w");
  EXPECT_EQ(
      "<q:E a=\"1\"><val>x</val>\r\n<val><val>y</val>\r\n<val>z</val>\r\n</val>\r\n"
      "<val>w</val>\r\n</q:E>\r\n",
      written(e, XmlUtils::ByKey, "q:"));
}

// The value overload writes the value under the tag "value", prefixed, without
// attributes.
TEST(XmlUtils, ValueOverload) {
  QVS::SingleValue single;
  single.set("a<b");
  EXPECT_EQ("<value>a&lt;b</value>\r\n", written(single));
  EXPECT_EQ("<q:value>a&lt;b</q:value>\r\n", written(single, XmlUtils::ByKey, "q:"));
  MultiValue items;
  items.addSingle().set("1");
  items.addMultiElement().addSingle("k").set("2");
  EXPECT_EQ("<value><val>1</val>\r\n<val><k>2</k>\r\n</val>\r\n</value>\r\n", written(items));
  MultiElementValue children;
  children.addSingle("k", AttributeVector(), 1).set("v");
  EXPECT_EQ("<q:value><q:k>v</q:k>\r\n</q:value>\r\n", written(children, XmlUtils::ByKey, "q:"));
}

// A tree 100,000 levels deep is written in full without running out of stack.
TEST(XmlUtils, DeepTree) {
  constexpr std::size_t kDepth = 100000;
  Element root("e");
  MultiElementValue* list = &root.addMultiElement();
  for (std::size_t i = 1; i < kDepth; ++i) list = &list->addMultiElement("e");
  list->addSingle("leaf").set("x");
  const std::string xml = written(root, XmlUtils::ByWeight);
  const std::string leaf = "<leaf>x</leaf>\r\n";
  ASSERT_EQ(kDepth * (3 + 6) + leaf.size(), xml.size());
  EXPECT_EQ("<e><e><e>", xml.substr(0, 9));
  EXPECT_EQ("<e>" + leaf + "</e>\r\n</e>\r\n", xml.substr((kDepth - 1) * 3, 3 + leaf.size() + 12));
  EXPECT_EQ("</e>\r\n</e>\r\n", xml.substr(xml.size() - 12));
}

}  // namespace
