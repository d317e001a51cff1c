// tests/hostile/hostile_test.cpp: what the two readers of today, QVS::XmlUtils::streamIn
// and XmlBaseBuilder::build (with a builder that only counts), do with hostile
// documents: entity expansion bombs, external entities naming local files, deep nesting,
// a huge attribute value, truncation at every byte, broken encodings and zero bytes.
// Each ends in a documented exception or result; the sanitizer build checks that none
// leaks.
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/logcapture.h"
#include "support/throws.h"
#include "xml/qvs/xmlutils.h"
#include "xml/sax/xmlparser.h"
#include "xml/xmlexception.h"

namespace {

// Counts what the parser reports and keeps the first characters of text and attributes.
struct Counter : XmlBaseBuilder {
  using XmlBaseBuilder::XmlBaseBuilder;
  void startElement(const XMLCh* const, const XmlAttributes& attributes) override {
    ++elements;
    depth = ++open > depth ? open : depth;
    for (unsigned int i = 0; i < attributes.getLength(); ++i) {
      attributeChars += std::string(attributes.getValue(i)).size();
      if (text.size() < 64) text += std::string(attributes.getValue(i)).substr(0, 64) + "|";
    }
  }
  void value(const XMLCh* const chars) override {
    for (const XMLCh* p = chars; *p != 0; ++p, ++textChars) {
      if (text.size() < 64) text += static_cast<char>(*p);
    }
  }
  void endElement(const XMLCh* const) override { --open; }
  long elements = 0, open = 0, depth = 0;
  std::size_t textChars = 0, attributeChars = 0;
  std::string text;
};

// The outcome of a read as one text: "ok", or the exception's class and what().
template <class Read>
std::string outcome(Read read) {
  try {
    read();
    return "ok";
  } catch (const XmlException::ParserError& e) {
    return std::string("ParserError: ") + e.what();
  } catch (const XmlException::SystemError& e) {
    return std::string("SystemError: ") + e.what();
  }
}

// streamIn of bytes into root, under the given document name.
std::string readTree(const std::string& bytes, QVS::Element& root, const char* name = "hostile.xml") {
  InputMemStream in(bytes.data(), static_cast<unsigned int>(bytes.size()));
  return outcome([&] { QVS::XmlUtils::streamIn(in, root, name); });
}

// build() over bytes with the counting builder.
std::string build(const std::string& bytes, Counter& counter, const XmlEntityDirectory* directory = nullptr,
                  const char* name = "hostile.xml") {
  InputMemStream in(bytes.data(), static_cast<unsigned int>(bytes.size()));
  XmlInputSource input(in, name);
  counter.Set(input, directory);
  return outcome([&] { counter.build(); });
}

std::string textOf(const QVS::Element& e) {
  if (!e.hasValue() || e.value().type() != QVS::ValueBase::Single) return "<no text>";
  const ACE_CString& text = static_cast<const QVS::SingleValue&>(e.value()).value();
  return std::string(text.c_str(), text.length());
}

// The process's peak resident memory in MB (each test runs in a process of its own).
long peakMb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024;
}

// "<!DOCTYPE r [" lol0 = "lol", lolN = ten lol(N-1), ... "]>" and then tail; reversed,
// the declarations come from lolN down to lol0.
std::string laughs(int levels, const std::string& internalSubsetTail, const std::string& tail,
                   bool reversed = false) {
  std::string d;
  for (int i = 1; i <= levels; ++i) {
    std::string entity = "<!ENTITY lol" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) entity += "&lol" + std::to_string(i - 1) + ";";
    d = reversed ? entity + "\">" + d : d + entity + "\">";
  }
  d = reversed ? d + "<!ENTITY lol0 \"lol\">" : "<!ENTITY lol0 \"lol\">" + d;
  return "<!DOCTYPE r [" + d + internalSubsetTail + "]>" + tail;
}

const std::string kIncomplete = "ParserError: XmlBaseBuilder::build: Parsing is incomplete.";

// Both readers refuse doc as incomplete.
void expectBothIncomplete(const std::string& doc, const std::string& what) {
  Counter counter;
  EXPECT_EQ(kIncomplete, build(doc, counter)) << what;
  QVS::Element root;
  EXPECT_EQ(kIncomplete, readTree(doc, root)) << what;
}

// Both readers read doc, whose root holds the text "t".
void expectBothReadT(const std::string& doc) {
  Counter counter;
  EXPECT_EQ("ok", build(doc, counter)) << doc;
  QVS::Element root;
  EXPECT_EQ("ok", readTree(doc, root)) << doc;
  EXPECT_EQ("t", textOf(root));
}

// A scratch directory with one file, removed afterwards.
class LocalFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/corvane-hostile-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    dir_ = pattern;
    write("secret.txt", "SECRET");
    write("entities.dtd", "<!ENTITY fromDtd \"DTD\">");
  }
  void TearDown() override {
    std::remove((dir_ + "/secret.txt").c_str());
    std::remove((dir_ + "/entities.dtd").c_str());
    rmdir(dir_.c_str());
  }
  void write(const std::string& file, const std::string& text) {
    std::ofstream(dir_ + "/" + file, std::ios::binary) << text;
  }
  std::string dir_;
};

// The parser expands internal entities in content and attributes without any limit, as
// its defaults have it, and the readers add no check of their own: a few hundred bytes
// of declarations expand here to 300,000 characters of text (a nine-level "billion
// laughs" would make three billion, for hours and gigabytes). Both readers deliver the
// whole expansion, forward declarations and attribute defaults included.
TEST(HostileDocument, EntityExpansionIsTheParsers) {
  LogCapture log;
  const long before = peakMb();
  Counter counter;
  const std::string bomb = laughs(5, "", "<r a=\"&lol4;\">&lol5;</r>");
  ASSERT_LT(bomb.size(), 500u);
  EXPECT_EQ("ok", build(bomb, counter));
  EXPECT_EQ(300000u, counter.textChars);
  EXPECT_EQ(30000u, counter.attributeChars);

  QVS::Element root;
  EXPECT_EQ("ok", readTree(laughs(5, "<!ATTLIST r d CDATA \"&lol1;\">", "<r>&lol5;</r>"), root));
  EXPECT_EQ(300000u, textOf(root).size());
  bool found = false;
  EXPECT_EQ(30u, root.getAttributeValue("d", found).length());

  // An entity named before its declaration is expanded all the same.
  Counter later;
  EXPECT_EQ("ok", build(laughs(4, "", "<r>&lol4;</r>", true), later));
  EXPECT_EQ(30000u, later.textChars);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_LT(peakMb() - before, 100);  // the text streams through; the tree holds 300 KB
}

// Without a directory (streamIn never has one) the parser opens what an external entity
// or DTD names: an absolute path, a file: URL, or a path relative to the document's name;
// a missing file ends the parse. With a directory, ids it lacks are refused before any
// file is opened.
TEST_F(LocalFiles, ExternalEntities) {
  const std::string doc = dir_ + "/doc.xml";
  const std::string cases[][2] = {
      {"<!DOCTYPE r [<!ENTITY x SYSTEM \"" + dir_ + "/secret.txt\">]><r>&x;</r>", "SECRET"},
      {"<!DOCTYPE r [<!ENTITY x SYSTEM \"file://" + dir_ + "/secret.txt\">]><r>&x;</r>", "SECRET"},
      {"<!DOCTYPE r [<!ENTITY x SYSTEM \"secret.txt\">]><r>&x;</r>", "SECRET"},
      {"<!DOCTYPE r SYSTEM \"entities.dtd\"><r>&fromDtd;</r>", "DTD"},
      {"<!DOCTYPE r [<!ENTITY % p SYSTEM \"entities.dtd\"> %p;]><r>&fromDtd;</r>", "DTD"},
  };
  for (const auto& c : cases) {
    QVS::Element root;
    EXPECT_EQ("ok", readTree(c[0], root, doc.c_str())) << c[0];
    EXPECT_EQ(c[1], textOf(root));
    Counter counter;
    EXPECT_EQ("ok", build(c[0], counter, nullptr, doc.c_str()));
    EXPECT_EQ(c[1], counter.text);

    XmlEntityDirectory none;
    Counter refused;
    const std::string result = build(c[0], refused, &none, doc.c_str());
    EXPECT_EQ(0u, result.rfind("SystemError: XmlEntityResolver::resolveEntity: Invalid URI specified ", 0)) << result;
    EXPECT_EQ("", refused.text);
  }

  LogCapture log;
  QVS::Element root;
  EXPECT_EQ(kIncomplete, readTree("<!DOCTYPE r [<!ENTITY x SYSTEM \"missing.txt\">]><r>&x;</r>", root, doc.c_str()));
  ASSERT_EQ(1u, log.lines().size());
  EXPECT_NE(std::string::npos, log.lines()[0].text.find("unable to open external entity"));
}

// 100,000 levels of nesting: every start tag reaches the builder without the call stack
// growing per level (streamIn's tree that deep is checked with the reader).
TEST(HostileDocument, DeepNesting) {
  std::string doc;
  for (int i = 0; i < 100000; ++i) doc += "<e a=\"1\">";
  doc += "x";
  for (int i = 0; i < 100000; ++i) doc += "</e>";
  Counter counter;
  EXPECT_EQ("ok", build(doc, counter));
  EXPECT_EQ(100000, counter.elements);
  EXPECT_EQ(100000, counter.depth);
}

// A 50 MB attribute value reaches the builder and the tree whole.
TEST(HostileDocument, HugeAttributeValue) {
  const std::size_t size = 50u << 20;
  std::string doc = "<r a=\"" + std::string(size, 'v') + "\">t</r>";
  doc[6] = 'w';
  Counter counter;
  EXPECT_EQ("ok", build(doc, counter));
  EXPECT_EQ(size, counter.attributeChars);
  QVS::Element root;
  EXPECT_EQ("ok", readTree(doc, root));
  bool found = false;
  const ACE_CString& value = root.getAttributeValue("a", found);
  ASSERT_TRUE(found);
  ASSERT_EQ(size, value.length());
  EXPECT_EQ('w', value[0]);
  EXPECT_EQ('v', value[size - 1]);
}

// A document cut after any of its bytes is refused as incomplete by both readers, each
// cut logged once; only the whole document reads.
TEST(HostileDocument, CutAtEveryByte) {
  const std::string doc =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!DOCTYPE r [<!ENTITY e \"&#233;t&amp;\">]>"
      "<r k=\"v&e;\"><!-- c --><a>x&lt;&#x20AC;&e;</a><?pi d?><b/><![CDATA[<c>]]>\xC3\xA9</r>";
  for (std::size_t cut = 0; cut < doc.size(); ++cut) {
    LogCapture log;
    expectBothIncomplete(doc.substr(0, cut), std::to_string(cut));
    EXPECT_EQ(2u, log.lines().size()) << cut;
  }
  QVS::Element root;
  EXPECT_EQ("ok", readTree(doc, root));
}

// Bytes that are not UTF-8 (in a document that does not declare another encoding) end
// the parse as incomplete, up to the end of the root element; after it the parser
// ignores them, and whatever follows them.
TEST(HostileDocument, InvalidUtf8) {
  const std::string cases[] = {
      "<r>a\xC3\x28</r>",         "<r>\xFF</r>",         "<r>\xC0\xAF</r>",   "<r>\xED\xA0\x80</r>",
      "<r>\xF4\x90\x80\x80</r>", "<r>caf\xE9</r>",      "<r a=\"\xE9\"/>",   "<r\xE9/>",
      "<r>\xE2\x82</r>",         "<r>\xC3",             "<r/><!--\xC3-->",
  };
  LogCapture log;
  for (const std::string& doc : cases) expectBothIncomplete(doc, doc);
  for (const char* doc : {"<r>t</r>\xC3", "<r>t</r>\xFF<x>"}) expectBothReadT(doc);
}

// A UTF-16 document with a byte-order mark reads as its UTF-8 form does, either byte
// order; one cut inside a code unit is incomplete.
TEST(HostileDocument, Utf16WithByteOrderMark) {
  const std::u16string text = u"<r a=\"\u00E9\u20AC\"><c>\u00E9\u20AC\U0001F600</c></r>";
  std::string le = "\xFF\xFE", be = "\xFE\xFF";
  for (char16_t u : text) {
    le += static_cast<char>(u & 0xFF), le += static_cast<char>(u >> 8);
    be += static_cast<char>(u >> 8), be += static_cast<char>(u & 0xFF);
  }
  QVS::Element utf8;
  ASSERT_EQ("ok", readTree("<r a=\"\xC3\xA9\xE2\x82\xAC\"><c>\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80</c></r>", utf8));
  for (const std::string& doc : {le, be}) {
    QVS::Element root;
    EXPECT_EQ("ok", readTree(doc, root));
    EXPECT_TRUE(root.key() == utf8.key() && root.attributes() == utf8.attributes() &&
                root.value() == utf8.value());
    EXPECT_EQ("\xE9\x80", std::string(root.attributes()[0].second.c_str()));
    EXPECT_EQ("\xE9\x80?", textOf(root.getMultiElement().getElement("c")));
    LogCapture log;
    QVS::Element cut;
    EXPECT_EQ(kIncomplete, readTree(doc.substr(0, doc.size() - 1), cut));
  }
}

// A zero byte is not an XML character: up to the end of the root element, in UTF-8 or
// UTF-16, it ends the parse as incomplete. After the root element the parser takes it
// for the end of the input and ignores the rest.
TEST(HostileDocument, ZeroBytes) {
  const std::string cases[] = {
      std::string("<r>a\0b</r>", 10), std::string("<r\0/>", 5),  std::string("\0<r/>", 5),
      std::string("<r a=\"\0\"/>", 10), std::string("\0", 1),    std::string("<r/><!--\0-->", 12),
      std::string("\xFF\xFE<\0r\0>\0\0\0<\0/\0r\0>\0", 18),
  };
  LogCapture log;
  for (const std::string& doc : cases) expectBothIncomplete(doc, std::to_string(doc.size()));
  for (const std::string& doc : {std::string("<r>t</r>\0", 9), std::string("<r>t</r>\0<x>junk", 14)})
    expectBothReadT(doc);
}

}  // namespace
