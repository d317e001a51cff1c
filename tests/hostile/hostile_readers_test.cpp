// tests/hostile/hostile_readers_test.cpp: the study reader (XmlBuilder) and the document
// layer (XmlDocument) on hostile documents. The study reader parses as the other SAX
// readers do; the document layer's engine has limits of its own (no entity substitution,
// no external loads, a nesting depth of 256, text nodes of at most 10 MB).
#include <string>

#include <gtest/gtest.h>

#include "support/logcapture.h"
#include "xml/dom/xmldocument.h"
#include "xml/study/xmlbuilder.h"
#include "xml/xmlexception.h"

namespace {

std::string laughs(int levels, const std::string& body) {
  std::string d = "<!DOCTYPE r [<!ENTITY lol0 \"lol\">";
  for (int i = 1; i <= levels; ++i) {
    d += "<!ENTITY lol" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) d += "&lol" + std::to_string(i - 1) + ";";
    d += "\">";
  }
  return d + "]>" + body;
}

std::string nested(int depth) {
  std::string d;
  for (int i = 0; i < depth; ++i) d += "<sqElement tag='1'>";
  for (int i = 0; i < depth; ++i) d += "</sqElement>";
  return d;
}

Xml::Type text(unsigned long) { return Xml::StringType; }

struct Study : XmlBuilder {
  using XmlBuilder::XmlBuilder;
  void startElement(unsigned long, const ACE_CString& v, const Xml::Operation&) override {
    chars += v.length();
  }
  void startSequence(unsigned long, const Xml::Operation&) override { ++sequences; }
  std::size_t chars = 0;
  long sequences = 0;
};

// "ok", or the exception's what(), of a read with an empty entity directory.
std::string readStudy(const std::string& bytes) {
  InputMemStream in(bytes.data(), static_cast<unsigned int>(bytes.size()));
  XmlInputSource input(in, "hostile.xml");
  XmlEntityDirectory directory;
  Study builder(input, text, &directory);
  try {
    builder.build();
  } catch (const XmlException::XmlExceptionBase& e) {
    return e.what();
  }
  return "ok";
}

TEST(HostileStudyDocument, ReadsAsTheParserDoes) {
  LogCapture log;
  const std::string bomb = laughs(4, "<r><element tag='1' val='&lol4;'/></r>");
  InputMemStream bytes(bomb.data(), static_cast<unsigned int>(bomb.size()));
  XmlInputSource input(bytes, "bomb.xml");
  Study builder(input, text, nullptr);
  builder.build();
  EXPECT_EQ(30000u, builder.chars);  // expanded whole, as the parser's defaults have it

  EXPECT_EQ("ok", readStudy(nested(100000)));
  EXPECT_EQ("ok", readStudy("<r><element tag='1' val='" + std::string(20 << 20, 'x') + "'/></r>"));
  // An external entity is refused by the directory before anything is opened.
  EXPECT_EQ("XmlEntityResolver::resolveEntity: Invalid URI specified /etc/passwd",
            readStudy("<!DOCTYPE r [<!ENTITY x SYSTEM \"/etc/passwd\">]><r>&x;</r>"));
  const std::string sample = "<r><study name='s' nbE='1'/><element tag='1' val='v'/></r>";
  for (std::size_t cut = 0; cut < sample.size(); ++cut) {
    EXPECT_EQ("Parsing was incomplete", readStudy(sample.substr(0, cut))) << cut;
  }
  EXPECT_EQ("Parsing was incomplete", readStudy("<r><element tag='1' val='\xff'/></r>"));
  EXPECT_EQ("Parsing was incomplete", readStudy(std::string("<r>\0</r>", 8)));
}

TEST(HostileDocumentLayer, EngineLimitsHold) {
  LogCapture log;
  XmlDocument document;
  // Entities are not substituted, and a nine-level bomb is refused by the engine.
  EXPECT_FALSE(document.LoadXml(laughs(9, "<r>&lol9;</r>").c_str(), 65001));
  // An external entity is kept as a reference, never read.
  ASSERT_TRUE(document.LoadXml("<!DOCTYPE r [<!ENTITY x SYSTEM \"/etc/passwd\">]><r>&x;</r>", 65001));
  EXPECT_EQ("", document.GetElementByTagName("//r").InnerText());
  EXPECT_EQ("<r>&x;</r>", document.GetElementByTagName("//r").OuterXml());
  // Nesting deeper than 256 and a 50 MB attribute are refused, not read.
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<a>";
  EXPECT_FALSE(document.LoadXml(deep.c_str(), 65001));
  EXPECT_FALSE(document.LoadXml(("<r a=\"" + std::string(50 << 20, 'x') + "\"/>").c_str(), 65001));
  // Cut anywhere, a document does not load; undecodable bytes become U+FFFD.
  const std::string sample = "<r a='1'><b>t</b></r>";
  for (std::size_t cut = 0; cut < sample.size(); ++cut) {
    EXPECT_FALSE(document.LoadXml(sample.substr(0, cut).c_str(), 65001)) << cut;
  }
  ASSERT_TRUE(document.LoadXml("<r>\xff</r>", 65001));
  EXPECT_EQ("<r>?</r>", document.GetElementByTagName("//r").OuterXml());
}

}  // namespace
