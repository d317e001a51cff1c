// Tests of the study document reader: XmlBuilder, XmlStudyHandler and the vocabulary.
#include "xml/study/xmlbuilder.h"

#include <clocale>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xercesc/sax/SAXParseException.hpp>

#include "support/logcapture.h"
#include "support/throws.h"
#include "xml/xmlexception.h"
#include "xml/xmlstringconversion.h"

namespace {

using ::testing::ElementsAre;

std::string utf8(const XMLCh* text) {
  if (text == nullptr) return "(null)";
  Corvane::auto_ptr<char, Corvane::BasicDelete<char>> out(nullptr);
  ConvertWideCharToUTF8(text, out);
  return out.get();
}

std::string opText(const Xml::Operation& op) { return std::to_string(static_cast<int>(op)); }

template <class T>
std::string join(const std::vector<T>& values) {
  std::ostringstream out;
  for (std::size_t i = 0; i < values.size(); ++i) out << (i ? "," : "") << values[i];
  return out.str();
}
std::string join(const std::vector<ACE_CString>& values) {
  std::string out;
  for (std::size_t i = 0; i < values.size(); ++i) out += (i ? "," : "") + std::string(values[i].c_str());
  return out;
}
std::string join(const std::vector<XMLCh*>& values) {
  std::string out;
  for (std::size_t i = 0; i < values.size(); ++i) out += (i ? "," : "") + utf8(values[i]);
  return out;
}

std::string hex(unsigned long tag) {
  std::ostringstream out;
  out << std::hex << tag;
  return out.str();
}

// Records every call as one line.
class Recorder : public XmlBuilder {
 public:
  using XmlBuilder::XmlBuilder;
  std::vector<std::string> calls;

  void add(const std::string& s) { calls.push_back(s); }
  void studyDocVersion(const ACE_CString& v) override { add("version " + std::string(v.c_str())); }
  void startStudy(const ACE_CString& n, unsigned long c) override {
    add("study " + std::string(n.c_str()) + " " + std::to_string(c));
  }
  void startSeries(const ACE_CString& n, unsigned long c) override {
    add("series " + std::string(n.c_str()) + " " + std::to_string(c));
  }
  void startImageTemplate(unsigned long c) override { add("template " + std::to_string(c)); }
  void endImageTemplate() override { add("/template"); }
  void startImageDelta(const ACE_CString& p) override { add("idelta " + std::string(p.c_str())); }
  void endImageDelta() override { add("/idelta"); }
  void startStudyDelta(const XMLCh* d, const ACE_CString& u) override {
    add("sdelta " + utf8(d) + " " + u.c_str());
  }
  void startSeriesDelta(const ACE_CString& p, const XMLCh* d, const ACE_CString& u) override {
    add("sedelta " + std::string(p.c_str()) + " " + utf8(d) + " " + u.c_str());
  }
  void startElement(unsigned long t, const std::vector<XMLCh*>& v, const Xml::Operation& op) override {
    add("wides " + hex(t) + " [" + join(v) + "] " + opText(op));
  }
  void startElement(unsigned long t, const XMLCh* v, const Xml::Operation& op) override {
    add("wide " + hex(t) + " " + utf8(v) + " " + opText(op));
  }
  void startElement(unsigned long t, const std::vector<float>& v, const Xml::Operation& op) override {
    add("floats " + hex(t) + " [" + join(v) + "] " + opText(op));
  }
  void startElement(unsigned long t, float v, const Xml::Operation& op) override {
    std::ostringstream s;
    s << v;
    add("float " + hex(t) + " " + s.str() + " " + opText(op));
  }
  void startElement(unsigned long t, const std::vector<unsigned long>& v,
                    const Xml::Operation& op) override {
    add("ulongs " + hex(t) + " [" + join(v) + "] " + opText(op));
  }
  void startElement(unsigned long t, unsigned long v, const Xml::Operation& op) override {
    add("ulong " + hex(t) + " " + std::to_string(v) + " " + opText(op));
  }
  void startElement(unsigned long t, const std::vector<long>& v, const Xml::Operation& op) override {
    add("longs " + hex(t) + " [" + join(v) + "] " + opText(op));
  }
  void startElement(unsigned long t, long v, const Xml::Operation& op) override {
    add("long " + hex(t) + " " + std::to_string(v) + " " + opText(op));
  }
  void startElement(unsigned long t, const std::vector<ACE_CString>& v,
                    const Xml::Operation& op) override {
    add("strings " + hex(t) + " [" + join(v) + "] " + opText(op));
  }
  void startElement(unsigned long t, const ACE_CString& v, const Xml::Operation& op) override {
    add("string " + hex(t) + " " + v.c_str() + " " + opText(op));
  }
  void startBinElement(unsigned long t, const std::vector<ACE_CString>& v,
                       const Xml::Operation& op) override {
    add("bins " + hex(t) + " [" + join(v) + "] " + opText(op));
  }
  void startBinElement(unsigned long t, const ACE_CString& v, const Xml::Operation& op) override {
    add("bin " + hex(t) + " " + v.c_str() + " " + opText(op));
  }
  void startSequence(unsigned long t, const Xml::Operation& op) override {
    add("sq " + hex(t) + " " + opText(op));
  }
  void endSequence() override { add("/sq"); }
  void startSequenceValue() override { add("item"); }
  void endSequenceValue() override { add("/item"); }
};

// Tags 0x1..0x5 carry the Type of that number; 0x9 answers 0 (skip); anything else is text.
Xml::Type typeOf(unsigned long tag) {
  if (tag >= 1 && tag <= 5) return static_cast<Xml::Type>(tag);
  if (tag == 9) return static_cast<Xml::Type>(0);
  return Xml::StringType;
}

std::vector<std::string> read(const std::string& document, Xml::Type (*types)(unsigned long) = typeOf) {
  InputMemStream bytes(document.data(), static_cast<unsigned int>(document.size()));
  XmlInputSource input(bytes, "study.xml");
  Recorder recorder(input, types, nullptr);
  recorder.build();
  return recorder.calls;
}

TEST(XmlBuilder, ReadsEveryElementOfTheFormatInDocumentOrder) {
  const std::string doc =
      "<CorvaneStudyDocument version=\"2.1\">"
      "<study name=\"Chest\" nbE=\"2\"><series name=\"S1\" nbE=\"1\"><template nbE=\"4\">"
      "<element tag=\"1\" val=\"Doe^John\"/>"
      "<element tag=\"2\" val=\"wide\"/>"
      "<element tag=\"3\" val=\"-42\"/>"
      "<element tag=\"4\" val=\"4294967295\"/>"
      "<element tag=\"5\" val=\"1.5\"/>"
      "<binary tag=\"0x7FE00010\" Encode=\"base64\" val=\"AAEC\"/>"
      "<sqElement tag=\"00081140\"><val1><element tag=\"3\" val=\"7\"/></val1></sqElement>"
      "<unknown tag=\"3\" val=\"1\"/>"
      "</template></series></study>"
      "<sdelta datetime=\"03/07/2009 14:05:09\" user=\"admin\">"
      "<sedelta parent=\"S1\" datetime=\"20090307 140509\" user=\"tech\">"
      "<idelta parent=\"1.2.3\">"
      "<diff tag=\"3\" op=\"-\" val=\"1\"/><diff tag=\"3\" op=\"*\" val=\"2\"/>"
      "<diff tag=\"3\" op=\"x\" val=\"3\"/><diff tag=\"3\" val=\"4\"/>"
      "<binDiff tag=\"10\" op=\"-\" nbE=\"2\" val1=\"QQ==\" val2=\"Qg==\"/>"
      "<sqElement tag=\"20\" op=\"*\"/>"
      "</idelta></sedelta></sdelta></CorvaneStudyDocument>";
  EXPECT_THAT(read(doc),
              ElementsAre("version 2.1", "study Chest 2", "series S1 1", "template 4",
                          "string 1 Doe^John -1", "wide 2 wide -1", "long 3 -42 -1",
                          "ulong 4 4294967295 -1", "float 5 1.5 -1", "bin 7fe00010 AAEC -1",
                          "sq 81140 -1", "item", "long 3 7 -1", "/item", "/sq", "/template",
                          "sdelta 03/07/2009 14:05:09 admin", "sedelta S1 20090307 140509 tech",
                          "idelta 1.2.3", "long 3 1 0", "long 3 2 2", "long 3 3 2", "long 3 4 -1",
                          "bins 10 [QQ==,Qg==] 0", "sq 20 2", "/sq", "/idelta"));
}

TEST(XmlBuilder, ValueCountsSelectTheAttributesAndTheOverload) {
  // nbE 3: val1..val3 into a vector, "val" ignored; absent entries take each type's default.
  EXPECT_THAT(read("<r><element tag='3' nbE='3' val='9' val1='1' val2='-2' val3='3'/>"
                   "<element tag='1' nbE='3' val1='a' val3='c'/>"
                   "<element tag='2' nbE='2' val2='w'/>"
                   "<element tag='4' nbE='2' val1='7'/>"
                   "<element tag='5' nbE='2' val1='0.25' val2='x'/></r>"),
              ElementsAre("longs 3 [1,-2,3] -1", "strings 1 [a,,c] -1", "wides 2 [(null),w] -1",
                          "ulongs 4 [7,0] -1", "floats 5 [0.25,0] -1"));
  // No nbE: only "val" is read; absent, it is an empty text (wide too) or 0.
  EXPECT_THAT(read("<r><element tag='1' val1='no'/><element tag='2'/><element tag='3'/></r>"),
              ElementsAre("string 1  -1", "wide 2  -1", "long 3 0 -1"));
  // nbE 1 reads "val", not "val1"; nbE 0 and a negative nbE give an empty vector.
  EXPECT_THAT(read("<r><element tag='3' nbE='1' val='5' val1='6'/><element tag='3' nbE='0' val='5'/>"
                   "<element tag='3' nbE='-4' val1='5'/><binary tag='3' nbE='0'/></r>"),
              ElementsAre("long 3 5 -1", "longs 3 [] -1", "longs 3 [] -1", "bins 3 [] -1"));
}

TEST(XmlBuilder, CountsTooLargeToHonourAreSkipped) {
  LogCapture capture;
  EXPECT_THAT(read("<r><element tag='3' nbE='2000000' val1='1'/><binary tag='3' nbE='1048577'/>"
                   "<element tag='3' val='7'/></r>"),
              ElementsAre("long 3 7 -1"));
  ASSERT_EQ(2u, capture.lines().size());
  EXPECT_EQ(LM_WARNING, capture.lines()[0].priority);
  EXPECT_EQ("XmlStudyHandler::startElement: value count 2000000 of tag 00000003 is above 1048576; "
            "entry skipped.\n",
            capture.lines()[0].text);
}

TEST(XmlBuilder, ReadsFiftyTwoValuesThroughBothNamingRanges) {
  std::string doc = "<r><element tag='3' nbE='52'";
  std::string expected = "longs 3 [";
  for (int i = 1; i <= 52; ++i) {
    doc += " val" + std::to_string(i) + "='" + std::to_string(i * 10) + "'";
    expected += (i > 1 ? "," : "") + std::to_string(i * 10);
  }
  doc += " val53='1' val052='2'/></r>";
  EXPECT_THAT(read(doc), ElementsAre(expected + "] -1"));
  EXPECT_STREQ("val1", Xml::ValueChArray[0]);
  EXPECT_STREQ("val50", Xml::ValueChArray[Xml::MaxNumExpectedValues - 1]);
  EXPECT_EQ(u"val50", std::u16string(Xml::ValueXmlChArray[49]));
}

TEST(XmlBuilder, TagsAreHexadecimalWithOrWithoutPrefix) {
  EXPECT_THAT(read("<r><element tag='0x0010ABCD' val='a'/><element tag='0010abcd' val='b'/>"
                   "<element tag='12zz' val='c'/><element tag='zz' val='d'/><element val='e'/>"
                   "<element tag='123456789' val='f'/><element tag='0x000000000000ABC' val='g'/></r>"),
              ElementsAre("string 10abcd a -1", "string 10abcd b -1", "string 12 c -1",
                          "string 0 d -1", "string 0 e -1", "string ffffffff f -1", "string abc g -1"));
}

TEST(XmlBuilder, SkipsTagsWhoseTypeIsUnknownAndOddElements) {
  // A type of 0 makes no call; "value" and "val7" bracket items wherever they stand;
  // "study" and the deltas have no end calls.
  EXPECT_THAT(read("<r><element tag='9' val='x'/><diff tag='9' op='-'/><value/><val7></val7>"
                   "<study/><Element tag='1' val='case'/></r>"),
              ElementsAre("item", "/item", "item", "/item", "study  0"));
}

TEST(XmlBuilder, ConvertsNarrowTextsToTheCodePage) {
  // é is in Windows-1252 (0xE9), the euro sign too (0x80); a Greek letter is not.
  EXPECT_THAT(read(u8"<r><element tag='1' val='\u00e9\u20ac\u03b1'/></r>"),
              ElementsAre("string 1 \xE9\x80? -1"));
}

TEST(XmlBuilder, NullTypeCallbackThrowsBeforeReading) {
  struct CountingStream : InputMemStream {
    using InputMemStream::InputMemStream;
    int reads = 0;
    unsigned int ReadBytes(void* buffer, unsigned int count) override {
      ++reads;
      return InputMemStream::ReadBytes(buffer, count);
    }
  };
  CountingStream bytes("<r/>", 4);
  XmlInputSource input(bytes, "study.xml");
  Recorder recorder(input, nullptr, nullptr);
  EXPECT_THROW_WHAT(recorder.build(), XmlException::SystemError,
                    "XmlBuilder::build InvalidGetCallback");
  EXPECT_EQ(0, bytes.reads);
  EXPECT_EQ(nullptr, recorder.getTypeCallback());
  recorder.getTypeCallback(typeOf);
  EXPECT_EQ(&typeOf, recorder.getTypeCallback());
  EXPECT_NO_THROW(recorder.build());
}

TEST(XmlBuilder, BrokenDocumentKeepsEarlierCallsThenFails) {
  const std::string doc = "<r><element tag='3' val='1'/>\n<template nbE='1'></r>";
  InputMemStream bytes(doc.data(), static_cast<unsigned int>(doc.size()));
  XmlInputSource input(bytes, "broken.xml");
  Recorder recorder(input, typeOf, nullptr);
  LogCapture capture;
  EXPECT_THROW_WHAT(recorder.build(), XmlException::ParserError, "Parsing was incomplete");
  EXPECT_THAT(recorder.calls, ElementsAre("long 3 1 -1", "template 1"));
  ASSERT_EQ(1u, capture.lines().size());
  EXPECT_EQ(LM_WARNING, capture.lines()[0].priority);
  EXPECT_EQ("XmlStudyHandler::fatalError: line 2 char 21.\n", capture.lines()[0].text);
  EXPECT_TRUE(recorder.isParsingIncomplete());
  // The flag stays: a later build fails the same way, even on the same good prefix.
  EXPECT_THROW_WHAT(recorder.build(), XmlException::ParserError, "Parsing was incomplete");
}

TEST(XmlBuilder, UnknownEntityWithDirectoryIsRefused) {
  const std::string doc = "<!DOCTYPE r [<!ENTITY e SYSTEM \"missing.xml\">]><r>&e;</r>";
  InputMemStream bytes(doc.data(), static_cast<unsigned int>(doc.size()));
  XmlInputSource input(bytes, "study.xml");
  XmlEntityDirectory directory;
  Recorder recorder(input, typeOf, &directory);
  LogCapture capture;
  EXPECT_THROW(recorder.build(), XmlException::SystemError);
}

TEST(XmlStudyHandler, WarningAndErrorLinesCarryTheLocation) {
  InputMemStream bytes("", 0);
  XmlInputSource input(bytes, "x.xml");
  Recorder recorder(input, typeOf, nullptr);
  XmlStudyHandler handler(&recorder);
  const xercesc::SAXParseException e(u"bad thing", u"pub", u"doc.xml", 3, 14);
  LogCapture capture;
  handler.warning(e);
  handler.error(e);
  ASSERT_EQ(2u, capture.lines().size());
  EXPECT_EQ(LM_WARNING, capture.lines()[0].priority);
  EXPECT_EQ("XmlStudyHandler::warning: \nWarning at file doc.xml, line 3, char 14\n  Message: bad thing",
            capture.lines()[0].text);
  EXPECT_EQ(LM_WARNING, capture.lines()[1].priority);
  EXPECT_EQ("XmlStudyHandler::error: \nWarning at file doc.xml, line 3, char 14\n  Message: bad thing",
            capture.lines()[1].text);
  EXPECT_FALSE(recorder.isParsingIncomplete());
  EXPECT_EQ(nullptr, handler.resolveEntity(u"p", u"s"));
}

TEST(XmlVocabulary, OperationsAndNumbers) {
  EXPECT_EQ(-1, Xml::OpToWeight(u"+"));
  EXPECT_EQ(-1, Xml::OpToWeight(nullptr));
  EXPECT_EQ(0, Xml::OpToWeight(u"-"));
  EXPECT_EQ(2, Xml::OpToWeight(u"*"));
  EXPECT_EQ(2, Xml::OpToWeight(u""));
  EXPECT_EQ(2, Xml::OpToWeight(u"+-"));
  EXPECT_STREQ("CorvaneStudyDocument", Xml::StudyDocumentCh);
  EXPECT_EQ(u"sqElement", std::u16string(Xml::SequenceElementXmlCh));
  EXPECT_EQ(0x20, Xml::ValueSequenceSeparator);

  EXPECT_EQ(42, XmlConversion::xmlChToLong(u"42"));
  EXPECT_EQ(-7, XmlConversion::xmlChToLong(u" -7 "));
  EXPECT_EQ(2, XmlConversion::xmlChToLong(u"2.5"));
  EXPECT_EQ(4294967295ul, XmlConversion::xmlChToULong(u"4294967295"));
  for (const char16_t* bad : {u"", u"x", u"12x", u"+-1", u"2147483648", u"inf", u"1,5"}) {
    EXPECT_EQ(0, XmlConversion::xmlChToLong(bad)) << utf8(bad);
  }
  EXPECT_EQ(0, XmlConversion::xmlChToLong(nullptr));
  EXPECT_EQ(0u, XmlConversion::xmlChToULong(u"-1"));
  EXPECT_EQ(0u, XmlConversion::xmlChToULong(u"4294967296"));
  EXPECT_EQ(0.0f, XmlConversion::xmlChToFloat(u"nan"));
  EXPECT_EQ(0.0f, XmlConversion::xmlChToFloat(nullptr));
  EXPECT_EQ(-0.5f, XmlConversion::xmlChToFloat(u"-.5"));
}

TEST(XmlVocabulary, NumbersIgnoreTheProcessLocale) {
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "no de_DE.UTF-8 locale";
  const float value = XmlConversion::xmlChToFloat(u"1.5");
  const float comma = XmlConversion::xmlChToFloat(u"1,5");
  std::setlocale(LC_ALL, "C");
  EXPECT_EQ(1.5f, value);
  EXPECT_EQ(0.0f, comma);
}

}  // namespace
