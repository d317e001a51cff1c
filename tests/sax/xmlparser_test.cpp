// tests/sax/xmlparser_test.cpp: input sources, entity directory and resolver, parser
// driver and builder base, as the callbacks and the log see them.
#include "xml/sax/xmlparser.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <xercesc/sax/SAXException.hpp>

#include "support/logcapture.h"
#include "support/throws.h"
#include "xml/xmlexception.h"

namespace {

// UTF-16 as ASCII, any other unit as <decimal value>.
std::string show(const XMLCh* text) {
  std::string out;
  for (; *text != 0; ++text)
    out += *text < 0x80 ? std::string(1, char(*text)) : "<" + std::to_string(+*text) + ">";
  return out;
}

// Records "[a x=1]" (x!=1 for a type other than CDATA), texts as they come, and "[/a]".
struct Recorder : XmlBaseBuilder {
  using XmlBaseBuilder::XmlBaseBuilder;
  void startElement(const XMLCh* const name, const XmlAttributes& attributes) override {
    seen += "[" + show(name);
    for (unsigned int i = 0; i < attributes.getLength(); ++i)
      seen += " " + std::string(attributes.getName(i)) +
              (std::string(attributes.getType(i)) == "CDATA" ? "=" : "!=") + attributes.getValue(i);
    seen += "]";
  }
  void value(const XMLCh* const text) override { seen += show(text); }
  void endElement(const XMLCh* const name) override { seen += "[/" + show(name) + "]"; }
  void buildBytes(const std::string& text) {
    build(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  }
  std::string seen;
};

// A stream that counts its deletions.
struct CountedStream : InputMemStream {
  explicit CountedStream(int& deletions) : InputMemStream(""), deletions_(deletions) {}
  ~CountedStream() override { ++deletions_; }
  int& deletions_;
};

std::string recorded(const std::string& text, const char* name = "doc.xml",
                     const XmlEntityDirectory* directory = nullptr) {
  InputMemStream bytes(text.data(), static_cast<unsigned int>(text.size()));
  XmlInputSource input(bytes, name);
  Recorder builder(input, directory);
  builder.build();
  return builder.seen;
}

const char kIncomplete[] = "XmlBaseBuilder::build: Parsing is incomplete.";
const std::string kFatal = "E XmlHandler::fatalError: Fatal Error (Parsing Incomplete)";

// Document order: UTF-16 names, Windows-1252 CDATA attributes, all text; warnings only logged.
TEST(XmlBaseBuilder, CallbacksInDocumentOrder) {
  const std::pair<std::string, std::string> cases[] = {
      {"<a z=\"1\" b='2' a=\"\"><b>t&amp;&lt;&#65;&#x3b1;<![CDATA[<&]]></b> <c y=\"3\"/></a>",
       "[a z=1 b=2 a=][b]t&<A<945><&[/b] [c y=3][/c][/a]"},
      {"<!DOCTYPE a [<!ATTLIST a i ID #IMPLIED n NMTOKENS #IMPLIED><!ATTLIST a i CDATA #IMPLIED>]>"
       "<a n=\" p  q \" i=\"k\"/>", "[a n=p q i=k][/a]"},
      {"<\xC3\xA9 \xC3\xA9\xCE\xB1=\"\xC3\xA9\xE2\x82\xAC\xCE\xB1\"/>",
       "[<233> \xE9?=\xE9\x80\xB1][/<233>]"},
      {"<a>" + std::string(70000, 'x') + "</a>", "[a]" + std::string(70000, 'x') + "[/a]"},
  };
  LogCapture log;
  for (const auto& [text, expected] : cases) EXPECT_EQ(expected, recorded(text)) << text;
  EXPECT_EQ("W XmlHandler::warning: Warning in file doc.xml, line 1, col 73. Message: "
            "attribute 'i' has already been declared for element 'a'.\n", log.text());
}

// Callbacks before an error stand; fatal errors make every build throw until Set.
TEST(XmlBaseBuilder, ErrorsAndIncompleteFlag) {
  struct Throwing : Recorder {
    void endElement(const XMLCh* const name) override {
      if (name[0] == u'b') throw 7;
      throw xercesc::SAXException(u"stopped here");
    }
  };
  LogCapture log;
  XmlInputSource input(new InputMemStream("<a><b>t</b><c>"), "dir/doc.xml", true),
      other(new InputMemStream("<h/>"), "h.xml", true), empty;
  Recorder builder(input, nullptr), fresh;
  EXPECT_THROW_WHAT(builder.build(), XmlException::ParserError, kIncomplete);
  EXPECT_THROW_WHAT(builder.buildBytes("<g/>"), XmlException::ParserError, kIncomplete);
  EXPECT_TRUE(builder.isParsingIncomplete());
  builder.Set(other, nullptr);
  builder.build();
  EXPECT_EQ("[a][b]t[/b][c][g][/g][h][/h]", builder.seen);
  EXPECT_THROW_WHAT(fresh.buildBytes("<a>&b;</a>"), XmlException::ParserError, kIncomplete);
  EXPECT_EQ("[a]", fresh.seen);
  EXPECT_THROW_WHAT(Recorder(empty, nullptr).build(), XmlException::ParserError, kIncomplete);
  Throwing stop;
  EXPECT_THROW(stop.buildBytes("<a><b/><c/></a>"), int);
  EXPECT_EQ("[a][b]", stop.seen);
  EXPECT_THROW_WHAT(Throwing().buildBytes("<s/>"), XmlException::ParserError, "stopped here");
  EXPECT_THROW(Recorder().build(), std::logic_error);
  EXPECT_EQ(kFatal + " in file dir/doc.xml, line 1, col 15. Message: input ended before all "
                     "started tags were ended; last tag started is 'c'.\n" +
                kFatal + " in file Memory Buffer, line 1, col 7. Message: entity 'b' not found.\n" +
                kFatal + ". Message: invalid document structure.\n" +
                "E XmlBaseBuilder::build: Sax parser error: stopped here.\n",
            log.text());
}

// An id the directory lacks (exact match) throws; an entry serves once, then the parser opens it.
TEST(XmlEntityResolver, ServesEachEntryOnceAndRejectsUnknownIds) {
  const std::string doc = "<!DOCTYPE a [<!ENTITY e SYSTEM \"e.xml\">]><a>&e;</a>";
  XmlInputSource input(new InputMemStream("<b>in</b>"), "ignored", true);
  XmlEntityDirectory directory;
  directory.addEntry("./e.xml", input);
  EXPECT_THROW_WHAT(recorded(doc, "d.xml", &directory), XmlException::SystemError,
                    "XmlEntityResolver::resolveEntity: Invalid URI specified e.xml");
  directory.addEntry("e.xml", input);
  EXPECT_EQ("[a][b]in[/b][/a]", recorded(doc, "d.xml", &directory));
  EXPECT_EQ(nullptr, input.GetSource());
  LogCapture log;
  EXPECT_THROW_WHAT(recorded(doc, "/nonexistent/doc.xml", &directory), XmlException::ParserError,
                    kIncomplete);
  EXPECT_EQ(kFatal + " in file /nonexistent/doc.xml, line 1, col 48. Message: unable to open "
                     "external entity '/nonexistent/e.xml'.\n", log.text());
}

// The later addEntry wins; only sources still owned are deleted, once, with the directory.
TEST(XmlEntityDirectory, EntriesAndOwnership) {
  int deletions = 0;
  XmlInputSource kept;
  auto* replaced = new XmlInputSource(new CountedStream(deletions), "", true);
  auto* later = new XmlInputSource(new CountedStream(deletions), "", true);
  {
    XmlEntityDirectory d;
    d.addEntry("a", replaced, true);
    d.addEntry("a", later, true);
    d.addEntry("b", kept);
    EXPECT_EQ(2u, d.nbEntries());
    EXPECT_EQ((std::vector<XmlInputSource*>{later, &kept, nullptr}),
              (std::vector<XmlInputSource*>{d.entry("a"), d.entry("b"), d.entry("A")}));
  }
  EXPECT_EQ(1, deletions);
  delete replaced;
}

// Owned streams go once, at Set or destruction, others never; OrphanSource gives the source once.
TEST(XmlInputSource, OwnershipAndOrphanSource) {
  int deletions = 0;
  CountedStream mine(deletions);
  { XmlInputSource input(new CountedStream(deletions), "", true); }
  { XmlInputSource input(&mine, "", false); }
  { XmlInputSource input(mine, ""); }
  EXPECT_EQ(1, deletions);
  {
    XmlInputSource input(new CountedStream(deletions), "a", true);
    input.Set(new CountedStream(deletions), "b", true);
    input.Set(&mine, "c", false);
    input.Set(new CountedStream(deletions), "d\xE9/e.xml", true);
    EXPECT_EQ(3, deletions);
    xercesc::InputSource* source = input.OrphanSource();
    ASSERT_NE(nullptr, source);
    EXPECT_EQ(std::u16string(u"d\u00E9/e.xml"), source->getSystemId());
    EXPECT_EQ(nullptr, input.OrphanSource());
    EXPECT_EQ(nullptr, input.GetSource());
    delete source;
  }
  EXPECT_EQ(4, deletions);
  EXPECT_EQ(nullptr, XmlInputSource(mine, "").GetSource()->getSystemId());
}

// Piece by piece; parseNext is false before parseFirst and after the end (it crashed once).
TEST(XmlParser, ProgressiveParseAndOrphanedInput) {
  XmlParser parser;
  EXPECT_FALSE(parser.parseNext());
  XmlInputSource input(new InputMemStream("<a><b/><c/><d/></a>"), "a.xml", true);
  ASSERT_TRUE(parser.parseFirst(input));
  int steps = 0;
  while (parser.parseNext()) ++steps;
  EXPECT_GE(steps, 3);
  EXPECT_FALSE(parser.parseNext());
  delete input.OrphanSource();
  EXPECT_THROW(parser.parse(input), std::logic_error);
  EXPECT_THROW(parser.parseFirst(input), std::logic_error);
}

}  // namespace
