// tests/sax/xmlparser_test.cpp: input sources, entity directory and resolver, parser
// driver and builder base, as a receiver of the callbacks and the log see them.
#include "xml/sax/xmlparser.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>

#include "support/logcapture.h"
#include "support/throws.h"
#include "xml/xmlexception.h"

namespace {

using Lines = std::vector<std::string>;

// UTF-16 for a record: ASCII as is, anything else as <decimal code unit>.
std::string show(const XMLCh* text) {
  std::string out;
  for (; *text != 0; ++text) {
    out += *text < 0x80 ? std::string(1, static_cast<char>(*text))
                        : "<" + std::to_string(static_cast<unsigned>(*text)) + ">";
  }
  return out;
}

// The captured log as "E text" (LM_ERROR) and "W text" (LM_WARNING) lines.
Lines logged(const LogCapture& log) {
  Lines out;
  for (const LogCapture::Line& line : log.lines()) {
    out.push_back((line.priority == LM_ERROR ? "E " : line.priority == LM_WARNING ? "W " : "? ") +
                  line.text);
  }
  return out;
}

// Records "start a x=1" (a type other than CDATA shows as x(type)=1), "value t" (chunks
// of one run joined) and "end a".
class Recorder : public XmlBaseBuilder {
 public:
  using XmlBaseBuilder::XmlBaseBuilder;
  void startElement(const XMLCh* const name, const XmlAttributes& attributes) override {
    std::string line = "start " + show(name);
    for (unsigned int i = 0; i < attributes.getLength(); ++i) {
      const std::string type = attributes.getType(i);
      line += std::string(" ") + attributes.getName(i) + (type == "CDATA" ? "" : "(" + type + ")") +
              "=" + attributes.getValue(i);
    }
    lines.push_back(line);
  }
  void value(const XMLCh* const text) override {
    if (lines.empty() || lines.back().compare(0, 6, "value ") != 0) lines.push_back("value ");
    lines.back() += show(text);
  }
  void endElement(const XMLCh* const name) override { lines.push_back("end " + show(name)); }
  void buildBytes(const std::string& text) {
    build(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  }
  Lines lines;
};

// A stream whose deletions are counted.
struct CountedStream : InputMemStream {
  explicit CountedStream(int& deletions) : InputMemStream(""), deletions_(deletions) {}
  ~CountedStream() override { ++deletions_; }
  int& deletions_;
};

// What a builder over text under name records.
Lines recorded(const std::string& text, const char* name = "doc.xml",
               const XmlEntityDirectory* directory = nullptr) {
  InputMemStream bytes(text.data(), static_cast<unsigned int>(text.size()));
  XmlInputSource input(bytes, name);
  Recorder builder(input, directory);
  builder.build();
  return builder.lines;
}

const char kIncomplete[] = "XmlBaseBuilder::build: Parsing is incomplete.";
const char kFatal[] = "E XmlHandler::fatalError: Fatal Error (Parsing Incomplete)";
const char kEntityDoc[] = "<!DOCTYPE a [<!ENTITY e SYSTEM \"e.xml\">]><a>&e;";

// Callbacks in document order: UTF-16 names, narrow CDATA attributes, joined character data.
TEST(XmlBaseBuilder, CallbacksInDocumentOrder) {
  const std::string big(70000, 'x');
  const std::vector<std::pair<std::string, Lines>> cases = {
      {"<a/>", {"start a", "end a"}},
      {"<a z=\"1\" b='2' a=\"\"/>", {"start a z=1 b=2 a=", "end a"}},
      {"<a x=\"1\" y=\"2\"><b y=\"3\"/><c/></a>",
       {"start a x=1 y=2", "start b y=3", "end b", "start c", "end c", "end a"}},
      {"<!DOCTYPE a [<!ATTLIST a i ID #IMPLIED n NMTOKENS #IMPLIED>]><a n=\" p  q \" i=\"k\"/>",
       {"start a n=p q i=k", "end a"}},
      {"<a><b>t</b> <c/></a>",
       {"start a", "start b", "value t", "end b", "value  ", "start c", "end c", "end a"}},
      {"<\xC3\xA9 \xC3\xA9\xCE\xB1=\"\xC3\xA9\xE2\x82\xAC\xCE\xB1\"/>",
       {"start <233> \xE9?=\xE9\x80\xB1", "end <233>"}},
      {"<a>x&amp;y&lt;&#65;&#x3b1;<![CDATA[<&]]>z</a>",
       {"start a", "value x&y<A<945><&z", "end a"}},
      {"<a>" + big + "</a>", {"start a", "value " + big, "end a"}},
  };
  for (const auto& c : cases) EXPECT_EQ(c.second, recorded(c.first)) << c.first;
}

// A fatal error: earlier callbacks, one LM_ERROR line, ParserError, and so on until Set.
TEST(XmlBaseBuilder, FatalErrorMakesBuildIncomplete) {
  LogCapture log;
  InputMemStream bytes("<a><b>t</b><c>");
  XmlInputSource input(bytes, "dir/doc.xml");
  Recorder builder(input, nullptr);
  EXPECT_THROW_WHAT(builder.build(), XmlException::ParserError, kIncomplete);
  EXPECT_EQ((Lines{"start a", "start b", "value t", "end b", "start c"}), builder.lines);
  EXPECT_EQ(Lines{std::string(kFatal) + " in file dir/doc.xml, line 1, col 15. Message: input "
                  "ended before all started tags were ended; last tag started is 'c'.\n"},
            logged(log));
  builder.lines.clear();
  EXPECT_THROW_WHAT(builder.buildBytes("<g/>"), XmlException::ParserError, kIncomplete);
  EXPECT_EQ((Lines{"start g", "end g"}), builder.lines);
  InputMemStream again("<h/>");
  XmlInputSource other(again, "h.xml");
  builder.Set(other, nullptr);
  EXPECT_FALSE(builder.isParsingIncomplete());
  builder.build();

  Recorder fresh;
  EXPECT_THROW_WHAT(fresh.buildBytes("<a>&b;</a>"), XmlException::ParserError, kIncomplete);
  EXPECT_EQ(Lines{"start a"}, fresh.lines);
  EXPECT_EQ(std::string(kFatal) + " in file Memory Buffer, line 1, col 7. Message: entity 'b' "
            "not found.\n", logged(log).at(1));
}

// A warning is logged at LM_WARNING and the parse goes on.
TEST(XmlBaseBuilder, WarningIsLoggedAndParsingGoesOn) {
  LogCapture log;
  EXPECT_EQ((Lines{"start a", "end a"}),
            recorded("<!DOCTYPE a [<!ATTLIST a x CDATA #IMPLIED><!ATTLIST a x CDATA #IMPLIED>]>"
                     "<a/>"));
  EXPECT_EQ(Lines{"W XmlHandler::warning: Warning in file doc.xml, line 1, col 56. Message: "
                  "attribute 'x' has already been declared for element 'a'.\n"},
            logged(log));
}

// Callback exceptions pass unchanged, SAX ones become a logged ParserError; no input: logic error.
TEST(XmlBaseBuilder, Exceptions) {
  struct Stop {};
  struct Throwing : Recorder {
    void endElement(const XMLCh* const name) override {
      if (name[0] == u'b') throw Stop();
      if (name[0] == u's') throw xercesc::SAXException(u"stopped here");
      Recorder::endElement(name);
    }
  };
  LogCapture log;
  Throwing stop;
  EXPECT_THROW(stop.buildBytes("<a><b/><c/></a>"), Stop);
  EXPECT_EQ((Lines{"start a", "start b"}), stop.lines);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_THROW_WHAT(Throwing().buildBytes("<s/>"), XmlException::ParserError, "stopped here");
  EXPECT_EQ(Lines{"E XmlBaseBuilder::build: Sax parser error: stopped here.\n"}, logged(log));
  EXPECT_THROW(Recorder().build(), std::logic_error);
}

// Entities come from the directory once each; a spent entry is left to the parser to open.
TEST(XmlEntityResolver, ServesEntitiesFromDirectory) {
  InputMemStream entity("<b>in</b>");
  XmlInputSource entityInput(entity, "ignored");
  XmlEntityDirectory directory;
  directory.addEntry("e.xml", entityInput);
  EXPECT_EQ((Lines{"start a", "start b", "value in", "end b", "end a"}),
            recorded(std::string(kEntityDoc) + "</a>", "doc.xml", &directory));
  EXPECT_EQ(nullptr, entityInput.GetSource());

  InputMemStream twice("<b/>");
  XmlInputSource twiceInput(twice, "");
  directory.addEntry("e.xml", twiceInput);
  LogCapture log;
  EXPECT_THROW_WHAT(recorded(std::string(kEntityDoc) + "&e;</a>", "/nonexistent/doc.xml",
                             &directory),
                    XmlException::ParserError, kIncomplete);
  EXPECT_EQ(std::string(kFatal) + " in file /nonexistent/doc.xml, line 1, col 51. Message: "
            "unable to open external entity '/nonexistent/e.xml'.\n", logged(log).at(0));
}

// An id the directory lacks (exact match) ends build() with SystemError naming it.
TEST(XmlEntityResolver, UnknownIdThrowsSystemError) {
  InputMemStream entity("x");
  XmlInputSource entityInput(entity, "");
  XmlEntityDirectory directory;
  directory.addEntry("./e.xml", entityInput);
  EXPECT_THROW_WHAT(recorded(std::string(kEntityDoc) + "</a>", "d.xml", &directory),
                    XmlException::SystemError,
                    "XmlEntityResolver::resolveEntity: Invalid URI specified e.xml");
  const xercesc::InputSource* source = entityInput.GetSource();
  ASSERT_NE(nullptr, source);
  EXPECT_EQ(source, XmlEntityResolver(&directory).resolveEntity(u"p", u"./e.xml"));
  delete source;
}

// The later addEntry wins; only sources still owned are deleted, once, with the directory.
TEST(XmlEntityDirectory, EntriesAndOwnership) {
  int deletions = 0;
  CountedStream kept(deletions);
  XmlInputSource keptInput(kept, "");
  auto* replaced = new XmlInputSource(new CountedStream(deletions), "", true);
  auto* later = new XmlInputSource(new CountedStream(deletions), "", true);
  {
    XmlEntityDirectory directory;
    EXPECT_EQ(0u, directory.nbEntries());
    directory.addEntry("a", replaced, true);
    directory.addEntry("a", later, true);
    directory.addEntry("b", keptInput);
    directory.addEntry("c", nullptr, true);
    EXPECT_EQ(3u, directory.nbEntries());
    EXPECT_EQ(later, directory.entry("a"));
    EXPECT_EQ(&keptInput, directory.entry("b"));
    EXPECT_EQ(nullptr, directory.entry("A"));
  }
  EXPECT_EQ(1, deletions);
  delete replaced;
  EXPECT_EQ(2, deletions);
}

// The handle deletes the stream once when it owns it, at Set or destruction, else never.
TEST(XmlInputSource, StreamOwnership) {
  int deletions = 0;
  { XmlInputSource input(new CountedStream(deletions), "a", true); }
  EXPECT_EQ(1, deletions);
  CountedStream mine(deletions);
  { XmlInputSource input(&mine, "a", false); }
  { XmlInputSource input(mine, "a"); }
  EXPECT_EQ(1, deletions);
  {
    XmlInputSource input(new CountedStream(deletions), "a", true);
    input.Set(new CountedStream(deletions), "b", true);
    EXPECT_EQ(2, deletions);
    input.Set(&mine, "c", false);
    EXPECT_EQ(3, deletions);
    delete input.OrphanSource();
    input.Set(new CountedStream(deletions), "d", true);
    EXPECT_EQ(std::u16string(u"d"), input.GetSource()->getSystemId());
  }
  EXPECT_EQ(4, deletions);
}

// OrphanSource gives the source once; the name, byte for byte, is its system id.
TEST(XmlInputSource, OrphanSourceAndSystemId) {
  InputMemStream bytes("<a/>");
  XmlInputSource input(bytes, "d\xE9/a.xml");
  const xercesc::InputSource* held = input.GetSource();
  xercesc::InputSource* source = input.OrphanSource();
  ASSERT_NE(nullptr, source);
  EXPECT_EQ(held, source);
  EXPECT_EQ(std::u16string(u"d\u00E9/a.xml"), source->getSystemId());
  EXPECT_EQ(nullptr, input.OrphanSource());
  EXPECT_EQ(nullptr, input.GetSource());
  delete source;
  XmlParser parser;
  EXPECT_THROW(parser.parse(input), std::logic_error);
  EXPECT_THROW(parser.parseFirst(input), std::logic_error);
  EXPECT_EQ(nullptr, XmlInputSource(bytes, "").GetSource()->getSystemId());
}

// A default handle reads as an empty document, which has no root element: incomplete.
TEST(XmlInputSource, DefaultHandleIsEmptyDocument) {
  LogCapture log;
  XmlInputSource input;
  Recorder builder(input, nullptr);
  EXPECT_THROW_WHAT(builder.build(), XmlException::ParserError, kIncomplete);
  EXPECT_TRUE(builder.lines.empty());
  EXPECT_EQ(Lines{std::string(kFatal) + ". Message: invalid document structure.\n"}, logged(log));
}

// A handler installed on the parser directly; fatal errors are recorded, not thrown.
struct Names : xercesc::HandlerBase {
  void startElement(const XMLCh* const name, xercesc::AttributeList&) override {
    seen.push_back("<" + show(name));
  }
  void endElement(const XMLCh* const name) override { seen.push_back(show(name) + ">"); }
  void fatalError(const xercesc::SAXParseException&) override { seen.push_back("fatal"); }
  Lines seen;
};

// Piece by piece; parseNext is false before parseFirst and once the parse ended or failed.
TEST(XmlParser, ProgressiveParse) {
  XmlParser parser;
  EXPECT_FALSE(parser.parseNext());
  Names names;
  parser.setDocumentHandler(names);
  parser.setErrorHandler(names);
  InputMemStream bytes("<a><b/><c/></a>");
  XmlInputSource input(bytes, "a.xml");
  ASSERT_TRUE(parser.parseFirst(input));
  std::vector<size_t> counts{names.seen.size()};
  while (parser.parseNext()) counts.push_back(names.seen.size());
  EXPECT_EQ((Lines{"<a", "<b", "b>", "<c", "c>", "a>"}), names.seen);
  EXPECT_GE(counts.size(), 4u);
  EXPECT_LT(counts.front(), 2u);
  EXPECT_FALSE(parser.parseNext());

  InputMemStream broken("<a><b></a>");
  XmlInputSource brokenInput(broken, "b.xml");
  ASSERT_TRUE(parser.parseFirst(brokenInput));
  while (parser.parseNext()) {
  }
  EXPECT_EQ("fatal", names.seen.back());
  EXPECT_FALSE(parser.parseNext());

  xercesc::HandlerBase throwing;  // its fatalError throws the parser's exception
  parser.setErrorHandler(throwing);
  InputMemStream again("<a></b>");
  XmlInputSource againInput(again, "c.xml");
  ASSERT_TRUE(parser.parseFirst(againInput));
  EXPECT_THROW(while (parser.parseNext()) {}, xercesc::SAXParseException);
  EXPECT_FALSE(parser.parseNext());
  InputMemStream badStart("<!DOCTYPE");
  XmlInputSource badInput(badStart, "d.xml");
  EXPECT_THROW(parser.parseFirst(badInput), xercesc::SAXParseException);
  EXPECT_FALSE(parser.parseNext());
}

}  // namespace
