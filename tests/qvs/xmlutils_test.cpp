// tests/qvs/xmlutils_test.cpp: writing element trees in their XML form, on every kind of
// stream.
#include "xml/qvs/xmlutils.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "xml/xmlstringconversion.h"

namespace {

using namespace QVS;

// A caller's own stream, unknown to the writer; a flush shows as "<flush>".
struct Collector : OutputStream {
  unsigned int WriteBytes(const void* data, unsigned int count) override {
    return bytes.append(static_cast<const char*>(data), count), count;
  }
  bool Flush() override { return bytes += "<flush>", true; }
  std::string bytes;
};

// What streamOut writes, the same unflushed bytes on memory, file and a caller's stream.
template <class T>
std::string written(const T& tree, XmlUtils::Ordering order = XmlUtils::ByKey,
                    const char* prefix = "") {
  OutputMemStream memory;
  Collector own;
  FILE* const file = std::tmpfile();
  {
    OutputFileStream onFile(file);
    OutputStream* const streams[] = {&memory, &onFile, &own};
    for (OutputStream* out : streams) XmlUtils::streamOut(tree, *out, order, ACE_CString(prefix));
  }
  std::string fromFile(memory.size() + 1, '\0');
  std::rewind(file);
  fromFile.resize(std::fread(&fromFile[0], 1, fromFile.size(), file));
  std::fclose(file);
  EXPECT_EQ(memory.str(), own.bytes);
  EXPECT_EQ(memory.str(), fromFile);
  return memory.str();
}

// Two trees byte for byte by key, by weight and with a prefix; weights never appear.
TEST(XmlUtils, WorkedExamples) {
  Element p("Patient");
  p.insertAttribute("MRN", "M1");
  MultiElementValue& children = p.addMultiElement();
  children.addSingle("Order", {}, 1).set("a<b");
  MultiValue& exam = children.addMulti("Exam", {}, 5);
  exam.addSingle().set("x");
  exam.addSingle().set("y");
  children.addElement("Study", {}, 3);
  const std::string examXml = "Exam><val>x</val>\r\n<val>y</val>\r\n</";
  EXPECT_EQ("<Patient MRN=\"M1\"><" + examXml + "Exam>\r\n<Order>a&lt;b</Order>\r\n</Patient>\r\n",
            written(p));
  EXPECT_EQ("<Patient MRN=\"M1\"><Order>a&lt;b</Order>\r\n<" + examXml + "Exam>\r\n</Patient>\r\n",
            written(p, XmlUtils::ByWeight));
  EXPECT_EQ("<q:Patient MRN=\"M1\"><q:" + examXml + "q:Exam>\r\n<q:Order>a&lt;b</q:Order>\r\n"
            "</q:Patient>\r\n", written(p, XmlUtils::ByKey, "q:"));
  Element e("Exam");
  e.insertAttribute("IsDeleted", "1");
  MultiValue& items = e.addMulti();
  items.addSingle().set("x");
  items.addMultiElement().addSingle("Study").set("3");
  EXPECT_EQ("<Exam IsDeleted=\"1\"><val>x</val>\r\n<val IsDeleted=\"1\"><Study>3</Study>\r\n"
            "</val>\r\n</Exam>\r\n", written(e));
  EXPECT_EQ("<p:Exam IsDeleted=\"1\"><val>x</val>\r\n<val IsDeleted=\"1\"><p:Study>3</p:Study>\r\n"
            "</val>\r\n</p:Exam>\r\n", written(e, XmlUtils::ByWeight, "p:"));
}

// Key order, or weight order with equal weights by key; lists are left sorted that way.
TEST(XmlUtils, OrderAndSortState) {
  Element root("r");
  MultiElementValue& list = root.addMultiElement();
  list.addSingle("b", {}, 2).set("1");
  list.addSingle("a", {}, 2).set("2");
  list.addSingle("c", {}, 1).set("3");
  MultiElementValue& inner = list.addMulti("B", {}, 9).addMultiElement();
  inner.addSingle("y", {}, 1).set("4");
  inner.addSingle("x", {}, 2).set("5");
  EXPECT_EQ("<r><B><val><x>5</x>\r\n<y>4</y>\r\n</val>\r\n</B>\r\n<a>2</a>\r\n<b>1</b>\r\n"
            "<c>3</c>\r\n</r>\r\n", written(root));
  EXPECT_TRUE(list.sortState() == 1 && inner.sortState() == 1);
  EXPECT_EQ("<r><c>3</c>\r\n<a>2</a>\r\n<b>1</b>\r\n<B><val><y>4</y>\r\n<x>5</x>\r\n</val>\r\n"
            "</B>\r\n</r>\r\n", written(root, XmlUtils::ByWeight));
  EXPECT_TRUE(list.sortState() == 2 && inner.sortState() == 2 &&
              std::string((*list.beginNoSort())->key().c_str()) == "c");
}

// Names, values and texts up to 40 bytes with an escapable byte anywhere are escaped as usual.
TEST(XmlUtils, EscapingEveryLengthAndPosition) {
  for (std::size_t length = 0; length <= 40; ++length) {
    for (std::size_t dirty = 0; dirty <= length; ++dirty) {
      std::string text(length, 'a');
      if (dirty < length) text[dirty] = "<>&'\"\n\r\x01\xe9"[dirty % 9];
      Element e("e");
      e.insertAttribute(("n" + text).c_str(), text.c_str());
      e.addSingle().set(text.c_str());
      ACE_CString scratch;
      const std::string escaped = ConvertStringToXmlString(text.c_str(), scratch);
      ASSERT_EQ("<e n" + escaped + "=\"" + escaped + "\">" + escaped + "</e>\r\n", written(e))
          << "length " << length << ", dirty at " << dirty;
    }
  }
}

// Empty values, elements without value (not written), nested value lists, value overload.
TEST(XmlUtils, ValueKinds) {
  Element e("e");
  e.insertAttribute("a", "1");
  EXPECT_EQ("", written(e));
  e.addSingle();
  EXPECT_EQ("<e a=\"1\"></e>\r\n", written(e));
  MultiValue& outer = e.addMulti();
  EXPECT_EQ("<e a=\"1\"></e>\r\n", written(e));
  outer.addSingle().set("x");
  outer.addMulti().addSingle().set("y");
  outer.addSingle().set("w");
  EXPECT_EQ("<q:e a=\"1\"><val>x</val>\r\n<val><val>y</val>\r\n</val>\r\n<val>w</val>\r\n"
            "</q:e>\r\n", written(e, XmlUtils::ByKey, "q:"));
  QVS::SingleValue single;
  single.set("a<b");
  EXPECT_EQ("<q:value>a&lt;b</q:value>\r\n", written(single, XmlUtils::ByKey, "q:"));
  MultiValue items;
  items.addSingle().set("1");
  items.addMultiElement().addSingle("k").set("2");
  EXPECT_EQ("<value><val>1</val>\r\n<val><k>2</k>\r\n</val>\r\n</value>\r\n", written(items));
  MultiElementValue children;
  children.addSingle("k", {}, 1).set("v");
  EXPECT_EQ("<q:value><q:k>v</q:k>\r\n</q:value>\r\n", written(children, XmlUtils::ByKey, "q:"));
}

}  // namespace
