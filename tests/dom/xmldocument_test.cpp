// tests/dom/xmldocument_test.cpp: XmlDocument and XmlNode as callers see them: answers of
// empty documents and null nodes, loading with code pages, node texts, selection, growing
// the tree, saving, validation, ownership under every order of destruction, the log and
// the failures. libxml2's allocator hook counts and fails the engine's allocations.
#include "xml/dom/xmldocument.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <fstream>
#include <iterator>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>
#include <libxml/xmlmemory.h>
#include <unistd.h>

#include "support/logcapture.h"
#include "support/throws.h"
#include "xml/xmlexception.h"

namespace {

std::string str(const ACE_CString& s) { return std::string(s.c_str(), s.length()); }

// "name=value" of a node.
std::string nameValue(XmlNode node) { return str(node.Name()) + "=" + str(node.Value()); }

// The status of the XmlDomError that statement raises, or 0 when it raises none.
template <typename F>
long domStatus(F statement, std::string* message = nullptr) {
  try {
    statement();
  } catch (const XmlDomError& e) {
    if (message != nullptr) *message = e.what();
    return e.status();
  }
  return 0;
}

// The character string that statement throws, or "(nothing)".
template <typename F>
std::string thrownText(F statement) {
  try {
    statement();
  } catch (const char* text) {
    return text;
  }
  return "(nothing)";
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A file name in the temporary directory, removed at the end of the test.
struct TempFile {
  TempFile() {
    char name[] = "/tmp/xmldocument_test_XXXXXX";
    const int fd = mkstemp(name);
    if (fd >= 0) close(fd);
    path = name;
  }
  ~TempFile() { std::remove(path.c_str()); }
  std::string path;
};

// Puts itself between libxml2 and the C allocator while it lives: counts the blocks
// allocated and not yet freed, and can make one allocation fail.
class EngineAllocations {
 public:
  EngineAllocations() {
    xmlMemGet(&free_, &malloc_, &realloc_, &strdup_);
    current_ = this;
    xmlMemSetup(onFree, onMalloc, onRealloc, onStrdup);
  }
  ~EngineAllocations() {
    xmlMemSetup(free_, malloc_, realloc_, strdup_);
    current_ = nullptr;
  }
  EngineAllocations(const EngineAllocations&) = delete;
  EngineAllocations& operator=(const EngineAllocations&) = delete;

  // The allocation after the next n succeeds fails; later ones succeed again.
  void failAfter(long n) { failIn_ = n; }
  // Blocks allocated while this lives and not yet freed.
  std::size_t live() const { return live_.size(); }
  long allocations() const { return allocations_; }

 private:
  bool failNow() {
    ++allocations_;
    if (failIn_ < 0) return false;
    return failIn_-- == 0;
  }
  static void* onMalloc(size_t n) {
    if (current_->failNow()) return nullptr;
    void* p = std::malloc(n);
    if (p != nullptr) current_->live_.insert(p);
    return p;
  }
  static void* onRealloc(void* p, size_t n) {
    if (current_->failNow()) return nullptr;
    const bool tracked = p == nullptr || current_->live_.erase(p) > 0;
    void* q = std::realloc(p, n);
    if (q == nullptr) {
      if (p != nullptr && tracked) current_->live_.insert(p);
      return nullptr;
    }
    if (tracked) current_->live_.insert(q);
    return q;
  }
  static char* onStrdup(const char* s) {
    char* p = static_cast<char*>(onMalloc(std::strlen(s) + 1));
    if (p != nullptr) std::strcpy(p, s);
    return p;
  }
  static void onFree(void* p) {
    if (p == nullptr) return;
    current_->live_.erase(p);
    std::free(p);
  }

  static EngineAllocations* current_;
  xmlFreeFunc free_;
  xmlMallocFunc malloc_;
  xmlReallocFunc realloc_;
  xmlStrdupFunc strdup_;
  std::unordered_set<void*> live_;
  long failIn_ = -1;
  long allocations_ = 0;
};
EngineAllocations* EngineAllocations::current_ = nullptr;

// While it lives, the engine's first allocation fails and the log is captured.
struct FailingEngine {
  LogCapture log;
  EngineAllocations engine;
  FailingEngine() { engine.failAfter(0); }
};

XmlDocument loaded(const char* text, unsigned int codePage = 65001) {
  XmlDocument doc;
  EXPECT_TRUE(doc.LoadXml(text, codePage)) << text;
  return doc;
}

const char kSchema[] =
    "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>"
    "<xs:element name='a'><xs:complexType><xs:sequence>"
    "<xs:element name='b' type='xs:int' maxOccurs='unbounded'/>"
    "</xs:sequence></xs:complexType></xs:element></xs:schema>";

// ---------------------------------------------------------------------------------

// A default-constructed document answers without creating its engine document: a copy
// taken afterwards does not share one with it. Its null node answers every operation
// with "", a null node or an untouched list.
TEST(XmlDocument, EmptyDocumentAndNullNodeAnswerWithoutCreating) {
  LogCapture log;
  XmlDocument empty;
  XmlDocument schema;
  EXPECT_EQ("", str(empty.GetValidationError()));
  EXPECT_FALSE(empty.Validate(schema));
  EXPECT_TRUE(empty.GetElementByTagName("//a").IsNULL());
  XmlNode null = empty.GetDocElementNode();
  XmlNode other = loaded("<a/>").GetDocElementNode();
  EXPECT_TRUE(null.IsNULL());
  for (const ACE_CString& text : {null.Name(), null.Value(), null.InnerText(), null.InnerXml(),
                                  null.OuterXml(), null.GetAttribute("x")})
    EXPECT_EQ("", str(text));
  EXPECT_TRUE(null.ParentNode().IsNULL());
  EXPECT_TRUE(null.SelectNode("//a").IsNULL());
  EXPECT_TRUE(null.AppendChild(other).IsNULL());
  EXPECT_TRUE(null.AddAttribute(other).IsNULL());
  std::vector<XmlNode> list{other};
  null.GetChildNodes(list);
  null.SelectNodes("//a", list);
  EXPECT_EQ(1u, list.size());
  EXPECT_TRUE(XmlNode(nullptr).IsNULL());
  EXPECT_EQ("<a/>", str(other.OuterXml()));  // untouched by the appends above
  XmlDocument copy(empty);
  ASSERT_TRUE(copy.LoadXml("<a/>"));
  EXPECT_EQ("", str(empty.ToString()));
  EXPECT_EQ("<?xml version=\"1.0\"?>\n<a/>\n", str(copy.ToString()));
  EXPECT_EQ("", log.text());
}

// Names, values, texts and markup of the nodes of one document.
TEST(XmlNode, TextsOfEachKindOfNode) {
  XmlDocument doc = loaded("<a x='1'>t<b/></a>");
  XmlNode a = doc.GetDocElementNode();
  EXPECT_EQ("a=", nameValue(a));
  EXPECT_EQ("1", str(a.GetAttribute("x")));
  EXPECT_EQ("", str(a.GetAttribute("y")));
  EXPECT_EQ("", str(a.GetAttribute(nullptr)));
  EXPECT_EQ("t", str(a.InnerText()));
  EXPECT_EQ("<a x=\"1\">t<b/></a>", str(a.OuterXml()));

  std::vector<XmlNode> children{a};
  a.GetChildNodes(children);  // appended after what the list holds
  ASSERT_EQ(3u, children.size());
  EXPECT_EQ("#text=t", nameValue(children[1]));
  EXPECT_EQ("b", str(children[2].Name()));
  EXPECT_EQ(str(children[1].OuterXml()) + str(children[2].OuterXml()), str(a.InnerXml()));

  XmlNode attribute = a.SelectNode("@x");
  EXPECT_EQ("x=1", nameValue(attribute));
  EXPECT_EQ("x=\"1\"", str(attribute.OuterXml()));
  EXPECT_EQ("a", str(attribute.ParentNode().Name()));

  XmlNode document = a.ParentNode();
  EXPECT_EQ("#document", str(document.Name()));
  EXPECT_EQ(str(doc.ToString()), str(document.OuterXml()));
  EXPECT_TRUE(document.ParentNode().IsNULL());

  XmlDocument kinds = loaded("<?p data?><!DOCTYPE r><r><![CDATA[<c>]]><!--k-->&amp;&#233;</r>");
  XmlNode pi = kinds.GetDocElementNode();
  EXPECT_EQ("p=data", nameValue(pi));
  XmlNode r = kinds.GetElementByTagName("r");
  std::vector<XmlNode> parts;
  r.GetChildNodes(parts);
  ASSERT_EQ(3u, parts.size());
  EXPECT_EQ("#cdata-section=<c>", nameValue(parts[0]));
  EXPECT_EQ("#comment=k", nameValue(parts[1]));
  EXPECT_EQ("&\xE9", str(parts[2].Value()));  // the character references, decoded
  EXPECT_EQ("<c>&\xE9", str(r.InnerText()));   // no comment text
  EXPECT_EQ("<![CDATA[<c>]]><!--k-->&amp;\xE9", str(r.InnerXml()));
}

// Namespaced names are qualified names; namespace declarations read as attributes.
TEST(XmlNode, QualifiedNamesAndNamespaceDeclarations) {
  XmlDocument doc = loaded("<p:a xmlns:p='urn:p' xmlns='urn:d' p:x='1' x='2'/>");
  XmlNode a = doc.GetDocElementNode();
  EXPECT_EQ("p:a", str(a.Name()));
  for (const auto& [name, value] : {std::pair<const char*, const char*>{"p:x", "1"}, {"x", "2"},
                                    {"xmlns:p", "urn:p"}, {"xmlns", "urn:d"}, {"q:x", ""}})
    EXPECT_EQ(value, str(a.GetAttribute(name))) << name;
}

// Reading an attribute of anything but an element is the invalid-pointer error.
TEST(XmlNode, GetAttributeOfNonElementRaisesInvalidPointer) {
  XmlDocument doc = loaded("<a>t<!--c--></a>");
  XmlNode a = doc.GetDocElementNode();
  std::vector<XmlNode> nodes{a.ParentNode()};
  a.GetChildNodes(nodes);
  nodes.push_back(a.SelectNode("text()"));
  ASSERT_EQ(4u, nodes.size());
  for (XmlNode& n : nodes) {
    std::string message;
    EXPECT_EQ(XmlDomError::InvalidPointer, domStatus([&] { n.GetAttribute("x"); }, &message)) << str(n.Name());
    EXPECT_EQ("Invalid pointer", message);
  }
  EXPECT_EQ(-2147467261L, XmlDomError::InvalidPointer);
}

// The first child is whatever precedes the root element.
TEST(XmlDocument, FirstChildMayPrecedeTheRoot) {
  XmlDocument doc = loaded("<!--c--><a/>");
  EXPECT_EQ("#comment=c", nameValue(doc.GetDocElementNode()));
  EXPECT_EQ("a", str(doc.GetElementByTagName("a").Name()));
  EXPECT_EQ("<?xml version=\"1.0\"?>\n<!--c-->\n<a/>\n", str(doc.ToString()));
}

// Each code page decodes to the same document; undecodable bytes become U+FFFD ("?" when
// read back narrow, EF BF BD in the saved UTF-8); a UTF-8 byte order mark is skipped
// whatever the code page.
TEST(XmlDocument, LoadXmlDecodesCodePages) {
  struct Case {
    std::string text;
    unsigned int codePage;
    std::string saved;  // the UTF-8 of a's content as Save writes it
  };
  const std::string utf16le("<\0a\0>\0\xE9\0\xAC\x20<\0/\0a\0>\0\0\0", 20);
  const std::string utf16be("\0<\0a\0>\0\xE9\x20\xAC\0<\0/\0a\0>\0\0", 20);
  const std::vector<Case> cases = {
      {"<a>\xC3\xA9\xE2\x82\xAC</a>", 65001, "\xC3\xA9\xE2\x82\xAC"},
      {"<a>\xE9\x80</a>", 1252, "\xC3\xA9\xE2\x82\xAC"},
      {"<a>\xE9\x80</a>", 3, "\xC3\xA9\xE2\x82\xAC"},
      {"<a>\xE9\x81</a>", 0, "\xC3\xA9\xEF\xBF\xBD"},         // 0x81 is undefined
      {"<a>\xE9\xA4</a>", 28605, "\xC3\xA9\xE2\x82\xAC"},     // ISO-8859-15
      {"<a>\xE9\x80</a>", 28591, "\xC3\xA9\xC2\x80"},         // ISO-8859-1
      {"<a>\xC0</a>", 1251, "\xD0\x90"},                      // through iconv
      {"<a>e\xE9</a>", 20127, "e\xEF\xBF\xBD"},               // US-ASCII
      {utf16le, 1200, "\xC3\xA9\xE2\x82\xAC"},
      {utf16be, 1201, "\xC3\xA9\xE2\x82\xAC"},
      {"<a>\xFF\xC3</a>", 65001, "\xEF\xBF\xBD\xEF\xBF\xBD"},  // ill-formed UTF-8
      {"<a>\xED\xA0\x80</a>", 65001, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xC3\xA9</a>", 65001, "\xC3\xA9"},
      {"\xEF\xBB\xBF<a>\xE9\x80</a>", 0, "\xC3\xA9\xE2\x82\xAC"},
      {"\xEF\xBB\xBF<a>\xE9\x80</a>", 1252, "\xC3\xA9\xE2\x82\xAC"},
      {"\xEF\xBB\xBF<a>\xE9\x80</a>", 28591, "\xC3\xA9\xC2\x80"},
      {"\xEF\xBB\xBF<a>\xC3\xA9</a>", 65001, "\xC3\xA9"},
  };
  TempFile file;
  for (const Case& c : cases) {
    XmlDocument doc = loaded(c.text.c_str(), c.codePage);
    ASSERT_TRUE(doc.Save(file.path.c_str()));
    const std::string saved = readFile(file.path);
    EXPECT_NE(std::string::npos, saved.find("<a>" + c.saved + "</a>")) << c.codePage << ": " << saved;
  }
  EXPECT_EQ("\xE9?", str(loaded("<a>\xC3\xA9\xE4\xB8\xAD</a>").GetDocElementNode().InnerText()));
  XmlDocument doc;  // without a code page: Windows-1252, the mark skipped all the same
  ASSERT_TRUE(doc.LoadXml("\xEF\xBB\xBF<a>\xE9\x80</a>"));
  EXPECT_EQ("\xE9\x80", str(doc.GetDocElementNode().InnerText()));
}

// A code page the system does not know raises before anything is parsed or logged; the
// document keeps what it had. A text that does not parse: false, one log line with the
// engine's reason, the document empty, the last validation result untouched.
TEST(XmlDocument, LoadXmlFailures) {
  XmlDocument schema = loaded(kSchema);
  XmlDocument doc = loaded("<a><c/></a>");
  ASSERT_FALSE(doc.Validate(schema));
  const std::string error = str(doc.GetValidationError());
  ASSERT_NE("", error);
  {
    LogCapture log;
    std::string message;
    EXPECT_EQ(XmlDomError::InvalidArgument, domStatus([&] { doc.LoadXml("<b/>", 12345); }, &message));
    EXPECT_NE(std::string::npos, message.find("12345")) << message;
    EXPECT_EQ("a", str(doc.GetDocElementNode().Name()));
    EXPECT_EQ("", log.text());
  }
  for (const char* text : {"<a>", "<a/><b/>", "", "<p:a/>", "<a x='1' x='2'/>"}) {
    LogCapture log;
    EXPECT_FALSE(doc.LoadXml(text)) << text;
    const std::string line = log.text();  // one line at LM_ERROR, with a reason
    EXPECT_EQ(0u, line.find("E Unable to parse xml file. Reason: ")) << line;
    EXPECT_GT(line.size(), std::string("E Unable to parse xml file. Reason: \r\n").size()) << line;
    EXPECT_EQ(line.size() - 2, line.find("\r\n")) << line;
    EXPECT_EQ("", str(doc.ToString()));
    EXPECT_TRUE(doc.GetDocElementNode().IsNULL());
    EXPECT_EQ(error, str(doc.GetValidationError()));
  }
}

// Copies share one document; a move leaves the source empty; assignment drops the old.
TEST(XmlDocument, CopiesShareOneDocument) {
  XmlDocument first = loaded("<a/>");
  XmlDocument copy(first);
  ASSERT_TRUE(copy.LoadXml("<b/>"));
  EXPECT_EQ("<?xml version=\"1.0\"?>\n<b/>\n", str(first.ToString()));
  XmlNode c = copy.CreateNode("c", "");
  first.GetDocElementNode().AppendChild(c);
  EXPECT_EQ("<b><c/></b>", str(copy.GetDocElementNode().OuterXml()));

  XmlDocument moved(std::move(first));
  EXPECT_EQ("", str(first.ToString()));  // NOLINT(bugprone-use-after-move): moved-from is empty
  EXPECT_EQ(str(copy.ToString()), str(moved.ToString()));
  XmlDocument other = loaded("<z/>");
  other = moved;
  EXPECT_EQ(str(copy.ToString()), str(other.ToString()));
  other = std::move(other);
  EXPECT_EQ(str(copy.ToString()), str(other.ToString()));
  moved = XmlDocument();
  EXPECT_EQ("", str(moved.ToString()));
  EXPECT_TRUE(moved.GetDocElementNode().IsNULL());
}

// CreateNode with text, with markup and with nothing; the node stays out of the tree.
TEST(XmlDocument, CreateNodeContent) {
  LogCapture log;
  XmlDocument doc = loaded("<root/>");
  const std::string before = str(doc.ToString());
  XmlNode text = doc.CreateNode("item", "text");
  XmlNode escaped = doc.CreateNode("item", "1 < 2 & \xE9");
  XmlNode markup = doc.CreateNode("item", "<b>x</b>");
  XmlNode empty = doc.CreateNode("item", "");
  EXPECT_EQ("<item>text</item>", str(text.OuterXml()));
  EXPECT_EQ("<item>1 &lt; 2 &amp; \xE9</item>", str(escaped.OuterXml()));
  EXPECT_EQ("1 < 2 & \xE9", str(escaped.InnerText()));
  EXPECT_EQ("<item><b>x</b></item>", str(markup.OuterXml()));
  EXPECT_EQ("", str(empty.InnerText()));
  EXPECT_EQ("<item/>", str(empty.OuterXml()));
  for (XmlNode* n : {&text, &markup, &empty}) EXPECT_TRUE(n->ParentNode().IsNULL());
  EXPECT_EQ(before, str(doc.ToString()));
  EXPECT_EQ("", log.text());

  // Only the first node of the markup is taken.
  EXPECT_EQ("<item><!--c--></item>", str(doc.CreateNode("item", "<!--c--><b/>").OuterXml()));
}

// CreateAttribute with a null name or value gives a null node but creates the document.
// Markup that does not parse is logged as LoadXml logs it, and the append of the missing
// node raises; a name that is not an XML name raises.
TEST(XmlDocument, CreateFailures) {
  XmlDocument doc;
  EXPECT_TRUE(doc.CreateAttribute("x", nullptr).IsNULL());
  EXPECT_TRUE(doc.CreateAttribute(nullptr, "1").IsNULL());
  XmlDocument copy(doc);  // shares the engine document created above
  ASSERT_TRUE(copy.LoadXml("<z/>"));
  EXPECT_EQ("<?xml version=\"1.0\"?>\n<z/>\n", str(doc.ToString()));
  {
    LogCapture log;
    EXPECT_EQ(XmlDomError::InvalidArgument, domStatus([&] { doc.CreateNode("item", "<b>"); }));
    ASSERT_EQ(1u, log.lines().size());
    EXPECT_EQ(0u, log.lines()[0].text.find("Unable to parse xml file. Reason: "));
  }
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { doc.CreateNode("1item", "x"); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { doc.CreateNode("", "x"); }));
  EXPECT_EQ(XmlDomError::InvalidArgument, domStatus([&] { doc.CreateNode(nullptr, "x"); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { doc.CreateAttribute("a b", "x"); }));
  EXPECT_EQ("<p:item/>", str(doc.CreateNode("p:item", "").OuterXml()));
}

// AddAttribute attaches, replaces one of the same name, and keeps the value literal.
TEST(XmlNode, AddAttribute) {
  XmlDocument doc = loaded("<a x='1'/>");
  XmlNode a = doc.GetDocElementNode();
  XmlNode y = doc.CreateAttribute("y", "a&b<\"");
  EXPECT_EQ("y=\"a&amp;b&lt;&quot;\"", str(y.OuterXml()));
  EXPECT_EQ("y", str(a.AddAttribute(y).Name()));
  EXPECT_EQ("a&b<\"", str(a.GetAttribute("y")));

  XmlNode oldX = a.SelectNode("@x");
  XmlNode newX = doc.CreateAttribute("x", "2");
  a.AddAttribute(newX);
  EXPECT_EQ("2", str(a.GetAttribute("x")));
  EXPECT_EQ("<a x=\"2\" y=\"a&amp;b&lt;&quot;\"/>", str(a.OuterXml()));  // in the old one's place
  EXPECT_EQ("1", str(oldX.Value()));  // the replaced attribute lives on, detached
  EXPECT_TRUE(oldX.ParentNode().IsNULL());
  a.AddAttribute(newX);  // already there: nothing changes
  EXPECT_EQ("<a x=\"2\" y=\"a&amp;b&lt;&quot;\"/>", str(a.OuterXml()));

  XmlNode empty = doc.CreateAttribute("e", "");
  a.AddAttribute(empty);
  EXPECT_EQ("", str(a.GetAttribute("e")));
  EXPECT_NE(std::string::npos, str(a.OuterXml()).find(" e=\"\""));

  XmlNode other = loaded("<b/>").GetDocElementNode();
  XmlNode text = loaded("<b>t</b>").GetDocElementNode().SelectNode("text()");
  XmlNode null = XmlDocument().GetDocElementNode();
  EXPECT_EQ(XmlDomError::InvalidPointer, domStatus([&] { text.AddAttribute(y); }));
  EXPECT_EQ(XmlDomError::InvalidArgument, domStatus([&] { a.AddAttribute(null); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { a.AddAttribute(other); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { other.AddAttribute(y); }));  // y is on a
}

// AppendChild moves nodes within a document and from another one; the tree refuses
// cycles, second roots and nodes that cannot be children.
TEST(XmlNode, AppendChild) {
  XmlDocument doc = loaded("<a>x<b/>y</a>");
  XmlNode a = doc.GetDocElementNode();
  XmlNode item = doc.CreateNode("item", "text");
  XmlNode appended = a.AppendChild(item);
  EXPECT_EQ("item", str(appended.Name()));
  EXPECT_EQ("a", str(item.ParentNode().Name()));
  EXPECT_EQ("<a>x<b/>y<item>text</item></a>", str(a.OuterXml()));

  // Moving a text next to another text keeps both nodes (and the handle valid).
  XmlNode x = a.SelectNode("text()[1]");
  a.AppendChild(x);
  a.AppendChild(item);
  XmlNode y = a.SelectNode("text()[1]");
  a.AppendChild(y);
  EXPECT_EQ("<a><b/>x<item>text</item>y</a>", str(a.OuterXml()));
  EXPECT_EQ("x", str(x.Value()));
  std::vector<XmlNode> children;
  a.GetChildNodes(children);
  EXPECT_EQ(4u, children.size());

  // From another document, which may then go.
  XmlNode foreign(nullptr);
  {
    XmlDocument other = loaded("<o xmlns:p='urn:p'><p:c p:z='1'>\xC3\xA9</p:c></o>");
    foreign = other.GetElementByTagName("//*[local-name()='c']");
  }
  a.AppendChild(foreign);
  EXPECT_EQ("a", str(foreign.ParentNode().Name()));
  EXPECT_EQ("1", str(foreign.GetAttribute("p:z")));
  EXPECT_NE(std::string::npos, str(doc.ToString()).find("<p:c xmlns:p=\"urn:p\" p:z=\"1\">\xE9</p:c></a>"))
      << str(doc.ToString());

  XmlNode b = a.SelectNode("b");
  XmlNode document = a.ParentNode();
  XmlNode attribute = doc.CreateAttribute("n", "v");
  XmlNode null = XmlDocument().GetDocElementNode();
  XmlNode second = doc.CreateNode("second", "");
  XmlNode topText = doc.CreateNode("t", "text").SelectNode("text()");
  XmlNode comment = loaded("<!--c--><r/>").GetDocElementNode();
  EXPECT_EQ(XmlDomError::InvalidArgument, domStatus([&] { a.AppendChild(null); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { b.AppendChild(a); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { a.AppendChild(a); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { x.AppendChild(b); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { a.AppendChild(attribute); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { a.AppendChild(document); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { document.AppendChild(second); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { document.AppendChild(topText); }));
  document.AppendChild(comment);  // a comment from elsewhere may follow the root
  EXPECT_EQ("<?xml version=\"1.0\"?>\n<a><b/>x<item>text</item>y<p:c xmlns:p=\"urn:p\" p:z=\"1\">\xE9</p:c></a>\n"
            "<!--c-->\n",
            str(doc.ToString()));
}

// Selection: document order, nothing selected, errors of the expression.
TEST(XmlNode, SelectNodes) {
  XmlDocument doc = loaded("<a><b i='1'/><c><b i='2'/></c><b i='3'/></a>");
  XmlNode a = doc.GetDocElementNode();
  std::vector<XmlNode> list{a};
  a.SelectNodes("//b[@i='3'] | //b[@i='1'] | c/b", list);
  ASSERT_EQ(4u, list.size());
  EXPECT_EQ("1", str(list[1].GetAttribute("i")));
  EXPECT_EQ("2", str(list[2].GetAttribute("i")));
  EXPECT_EQ("3", str(list[3].GetAttribute("i")));
  a.SelectNodes("//nothing", list);
  a.SelectNodes(nullptr, list);
  EXPECT_EQ(4u, list.size());
  EXPECT_EQ("2", str(a.SelectNode("c/b | b[last()]").GetAttribute("i")));
  EXPECT_TRUE(a.SelectNode("nothing").IsNULL());
  EXPECT_TRUE(a.SelectNode(nullptr).IsNULL());
  EXPECT_EQ("2", str(doc.GetElementByTagName("//c/b/@i").Value()));
  EXPECT_TRUE(doc.GetElementByTagName("b").IsNULL());
  EXPECT_TRUE(doc.GetElementByTagName(nullptr).IsNULL());

  std::string message;
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { a.SelectNodes("//b[", list); }, &message));
  EXPECT_EQ("XPath error: Invalid expression in \"//b[\"", message);
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { a.SelectNode("count(//b)"); }));
  EXPECT_EQ(XmlDomError::Fail, domStatus([&] { doc.GetElementByTagName("p:b"); }));
  EXPECT_EQ(4u, list.size());
}

// Save writes UTF-8 that Load reads back, from a path or a file URL; failures.
TEST(XmlDocument, SaveAndLoad) {
  TempFile file;
  XmlDocument doc = loaded("<a x='\xC3\xA9'>\xE2\x82\xAC</a>");
  {
    LogCapture log;
    EXPECT_FALSE(doc.Save(nullptr));
    ASSERT_TRUE(doc.Save(file.path.c_str()));
    EXPECT_EQ("", log.text());
  }
  EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a x=\"\xC3\xA9\">\xE2\x82\xAC</a>\n", readFile(file.path));
  XmlDocument back;
  ASSERT_TRUE(back.Load(file.path.c_str()));
  EXPECT_EQ(str(doc.ToString()), str(back.ToString()));
  XmlDocument viaUrl;
  ASSERT_TRUE(viaUrl.Load(("file://" + file.path).c_str()));
  EXPECT_EQ("\x80", str(viaUrl.GetDocElementNode().InnerText()));

  LogCapture log;
  EXPECT_FALSE(back.Load("/nonexistent/dir/file.xml"));
  EXPECT_EQ("", str(back.ToString()));
  EXPECT_FALSE(back.Load(nullptr));
  EXPECT_FALSE(back.Load("http://127.0.0.1:9/a.xml"));  // never over the network
  EXPECT_EQ("", log.text());

  EXPECT_EQ("Unable to save updated XML document", thrownText([&] { doc.Save("/nonexistent/dir/file.xml"); }));
  EXPECT_EQ("E Unable to save xml file", log.text());

  // A never-created document is created by Save and saved empty.
  XmlDocument fresh;
  ASSERT_TRUE(fresh.Save(file.path.c_str()));
  EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n", readFile(file.path));
}

// Validation: a schema that is not one, a valid and an invalid document, a document that
// was never created; each copy keeps its own last result.
TEST(XmlDocument, Validate) {
  XmlDocument schema = loaded(kSchema);
  XmlDocument doc = loaded("<a><b>1</b><b>2</b></a>");
  EXPECT_TRUE(doc.Validate(schema));
  EXPECT_EQ("", str(doc.GetValidationError()));

  ASSERT_TRUE(doc.LoadXml("<a><b>x</b></a>"));
  EXPECT_FALSE(doc.Validate(schema));
  const std::string error = str(doc.GetValidationError());
  EXPECT_EQ(0u, error.find("Error code: -")) << error;
  EXPECT_NE(std::string::npos, error.find("\nReason: Element 'b': 'x' is not a valid value")) << error;

  LogCapture log;
  EXPECT_FALSE(doc.Validate(loaded("<a/>")));  // not a schema
  EXPECT_FALSE(doc.Validate(loaded("<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'><xs:bogus/></xs:schema>")));
  EXPECT_EQ(error, str(doc.GetValidationError()));
  EXPECT_EQ("", log.text());

  ASSERT_TRUE(doc.LoadXml("<a><c/></a>"));
  EXPECT_FALSE(doc.Validate(schema));
  EXPECT_EQ(0u, str(doc.GetValidationError()).find("Error code: -1871\nReason: Element 'c': This element is not expected."))
      << str(doc.GetValidationError());
  XmlDocument copy(doc);
  EXPECT_EQ(str(doc.GetValidationError()), str(copy.GetValidationError()));
  ASSERT_TRUE(copy.LoadXml("<a><b>1</b></a>"));
  EXPECT_TRUE(copy.Validate(schema));
  EXPECT_EQ("", str(copy.GetValidationError()));
  EXPECT_NE("", str(doc.GetValidationError()));

  // The edited tree is what is validated.
  ASSERT_TRUE(doc.LoadXml("<a><c/></a>"));  // the copy loaded into the shared document
  XmlNode b = doc.CreateNode("b", "7");
  XmlNode a = doc.GetDocElementNode();
  a.SelectNode("c").AppendChild(b);  // inside c: still invalid
  EXPECT_FALSE(doc.Validate(schema));
  ASSERT_TRUE(doc.LoadXml("<a/>"));
  doc.GetDocElementNode().AppendChild(b);
  EXPECT_TRUE(doc.Validate(schema));

  XmlDocument never;
  EXPECT_FALSE(never.Validate(loaded("<a/>")));
  EXPECT_EQ(XmlDomError::InvalidPointer, domStatus([&] { never.Validate(schema); }));

  // The schema compiler strips comments and blank texts from what it reads: the caller's
  // schema document and the nodes held in it stay as they were.
  std::string commented(kSchema);
  commented.insert(commented.find("<xs:element"), "\n  <!--c-->\n  ");
  XmlDocument withComment = loaded(commented.c_str());
  XmlNode comment = withComment.GetElementByTagName("//comment()");
  const std::string before = str(withComment.ToString());
  ASSERT_TRUE(doc.Validate(withComment));
  EXPECT_EQ(before, str(withComment.ToString()));
  EXPECT_EQ("c", str(comment.Value()));
}

// Nodes keep their document alive, old trees live on after a load, and a detached
// subtree lives while any node in it is held.
TEST(XmlNode, NodesOutliveTheirDocuments) {
  XmlNode b = XmlDocument().GetDocElementNode();
  XmlNode text = b;
  {
    XmlDocument doc = loaded("<a><b>t</b></a>");
    b = doc.GetElementByTagName("//b");
    XmlNode old = doc.GetDocElementNode();
    ASSERT_TRUE(doc.LoadXml("<z/>"));
    EXPECT_EQ("<a><b>t</b></a>", str(old.OuterXml()));
    std::vector<XmlNode> kids;
    b.GetChildNodes(kids);
    text = kids.at(0);
  }
  EXPECT_EQ("<b>t</b>", str(b.OuterXml()));
  EXPECT_EQ("a", str(b.ParentNode().Name()));
  EXPECT_EQ("t", str(text.Value()));

  XmlNode inner = XmlDocument().GetDocElementNode();
  {
    XmlDocument doc;
    XmlNode item = doc.CreateNode("item", "<b><c/></b>");
    inner = item.SelectNode("b/c");
  }
  EXPECT_EQ("c", str(inner.Name()));
  EXPECT_EQ("item", str(inner.ParentNode().ParentNode().Name()));
}

// Every order of dropping a document, its copy and nodes (attached, detached, below a
// detached node, moved between documents) frees everything exactly once.
TEST(XmlNode, EveryOrderOfDestructionFreesEverything) {
  auto scenario = [](std::vector<int> order) {
    auto* doc = new XmlDocument(loaded("<a x='1'><b>t</b></a>"));
    auto* copy = new XmlDocument(*doc);
    auto* other = new XmlDocument(loaded("<o><m/></o>"));
    std::vector<XmlNode*> nodes;
    nodes.push_back(new XmlNode(doc->GetDocElementNode()));
    nodes.push_back(new XmlNode(doc->CreateNode("item", "<c><d/></c>")));
    nodes.push_back(new XmlNode(nodes[1]->SelectNode("c/d")));
    nodes.push_back(new XmlNode(other->GetElementByTagName("//m")));
    nodes.push_back(new XmlNode(doc->GetElementByTagName("//@x")));
    nodes.push_back(new XmlNode(doc->CreateAttribute("x", "2")));
    nodes[0]->AppendChild(*nodes[3]);   // m moves into doc
    nodes[0]->AddAttribute(*nodes[5]);  // the old x is detached, still held
    ASSERT_TRUE(copy->LoadXml("<new/>"));  // doc's old tree lives on for its nodes
    std::vector<std::function<void()>> drops = {
        [&] { delete doc; }, [&] { delete copy; }, [&] { delete other; },
        [&] { delete nodes[0]; }, [&] { delete nodes[1]; }, [&] { delete nodes[2]; },
        [&] { delete nodes[3]; }, [&] { delete nodes[4]; }, [&] { delete nodes[5]; }};
    for (int i : order) drops[static_cast<std::size_t>(i)]();
  };
  std::vector<int> order{0, 1, 2, 3, 4, 5, 6, 7, 8};
  scenario(order);  // warms up libxml2's own lazily made state
  EngineAllocations engine;
  do {
    // Every permutation of the first six drops, the rest in order, plus the reversal.
    scenario(order);
    ASSERT_EQ(0u, engine.live()) << "order starting " << order[0] << order[1] << order[2];
  } while (std::next_permutation(order.begin(), order.begin() + 6));
  std::reverse(order.begin(), order.end());
  scenario(order);
  EXPECT_EQ(0u, engine.live());
}

// Random edits across three documents (appends within and between documents and into
// detached nodes, attributes replaced, trees reloaded, handles dropped in random order)
// leave every handle readable and free everything at the end.
TEST(XmlNode, RandomEditsKeepHandlesValid) {
  std::vector<XmlDocument> docs(3);
  const char* texts[] = {"<a x='1'><b>t</b><c/></a>", "<r><s y='2'>u</s>v</r>", "<!--k--><z/>"};
  auto run = [&](unsigned seed, int steps) {
    unsigned state = seed;
    auto next = [&](std::size_t n) {
      state = state * 1103515245u + 12345u;
      return static_cast<std::size_t>((state >> 8) % n);
    };
    std::vector<XmlNode> held;
    for (int i = 0; i < 3; ++i) docs[static_cast<std::size_t>(i)].LoadXml(texts[i]);
    for (int step = 0; step < steps; ++step) {
      XmlDocument& doc = docs[next(3)];
      switch (next(7)) {
        case 0: held.push_back(doc.CreateNode("n", next(2) != 0 ? "<m><k/></m>" : "t")); break;
        case 1: held.push_back(doc.CreateAttribute(next(2) != 0 ? "x" : "y", "v")); break;
        case 2: doc.GetDocElementNode().ParentNode().SelectNodes("//node() | //@*", held); break;
        case 3:
          if (!held.empty()) {
            XmlNode& parent = held[next(held.size())];
            XmlNode& child = held[next(held.size())];
            try {
              if (child.Name() == "x" || child.Name() == "y") {
                parent.AddAttribute(child);
              } else {
                parent.AppendChild(child);
              }
            } catch (const XmlDomError&) {
            }
          }
          break;
        case 4: if (next(8) == 0) doc.LoadXml(texts[next(3)]); break;
        default:
          if (!held.empty()) {
            std::swap(held[next(held.size())], held.back());
            held.pop_back();
          }
      }
      if (!held.empty()) {
        XmlNode& n = held[next(held.size())];
        n.OuterXml();
        n.ParentNode().Name();
      }
    }
    while (!held.empty()) {
      std::swap(held[next(held.size())], held.back());
      held.pop_back();
    }
    for (XmlDocument& d : docs) d = XmlDocument();
  };
  run(1, 300);  // warms up libxml2's lazily made state and the names' dictionaries
  EngineAllocations engine;
  for (unsigned seed = 2; seed < 40; ++seed) {
    run(seed, 300);
    ASSERT_EQ(0u, engine.live()) << "seed " << seed;
  }
}

// A detached node is freed with its last handle; one held below it keeps it.
TEST(XmlNode, DetachedNodesAreFreedWithTheirLastHandle) {
  XmlDocument doc = loaded("<a/>");
  // The document's dictionary keeps each name it has seen; these are the names below.
  for (const char* name : {"item", "holder", "n"}) doc.CreateNode(name, "<b><c/></b>");
  doc.CreateAttribute("x", "0");
  EngineAllocations engine;
  doc.CreateNode("item", "text");
  EXPECT_EQ(0u, engine.live());
  XmlNode inner = doc.CreateNode("item", "<b><c/></b>").SelectNode("b");
  EXPECT_NE(0u, engine.live());
  inner = XmlNode(nullptr);
  EXPECT_EQ(0u, engine.live());

  // Attached, it belongs to the document: dropping the handle frees nothing.
  XmlNode a = doc.GetDocElementNode();
  {
    XmlNode item = doc.CreateNode("item", "text");
    a.AppendChild(item);
  }
  const std::size_t attached = engine.live();
  EXPECT_NE(0u, attached);
  // Moving it out into a detached node that is then dropped frees it.
  {
    XmlNode holder = doc.CreateNode("holder", "");
    XmlNode item = a.SelectNode("item");
    holder.AppendChild(item);
  }
  EXPECT_EQ(0u, engine.live());
  EXPECT_EQ("<a/>", str(a.OuterXml()));

  // A chain deeper than any stack could walk recursively.
  {
    XmlNode top = doc.CreateNode("n", "");
    XmlNode cur = top;
    for (int i = 0; i < 20000; ++i) {
      XmlNode next = doc.CreateNode("n", "");
      cur.AppendChild(next);
      cur = next;
    }
    top = cur;  // only the deepest node is held
  }
  EXPECT_EQ(0u, engine.live());

  // An attribute replaced while nobody holds it goes at once.
  {
    XmlNode first = doc.CreateAttribute("x", "1");
    a.AddAttribute(first);
  }
  const std::size_t withAttribute = engine.live();
  {
    XmlNode second = doc.CreateAttribute("x", "2");
    a.AddAttribute(second);
  }
  EXPECT_EQ(withAttribute, engine.live());
  EXPECT_EQ("2", str(a.GetAttribute("x")));
}

// When the engine cannot allocate: creating the document, a parser, a validator, the
// text of a new element.
TEST(XmlDocument, EngineAllocationFailures) {
  XmlDocument schema = loaded(kSchema);
  XmlDocument doc;
  {
    FailingEngine failing;
    EXPECT_EQ("Unable to create MSXML:: DOMDocument object", thrownText([&] { doc.LoadXml("<a/>"); }));
    EXPECT_EQ("D MSXML6 not available on host system. Reverting to MSXML3\n"
              "E Unable to create MSXML:: DOMDocument object\n",
              failing.log.text());
  }
  ASSERT_TRUE(doc.LoadXml("<a><b>1</b></a>"));
  {
    FailingEngine failing;
    EXPECT_FALSE(doc.LoadXml("<c/>"));
    EXPECT_EQ("E Failed to laod xml file. Reason: Out of memory\r\n", failing.log.text());
  }
  {
    FailingEngine failing;
    EXPECT_THROW_WHAT(doc.Validate(schema), XmlException::ValidatorMissingException,
                      "XMLSchemaCache60 validator missing");
    EXPECT_EQ("E Could not instantiate IXMLDOMSchemaCollectionPtr", failing.log.text());
  }
  {
    LogCapture log;
    long bare;
    {
      EngineAllocations engine;
      doc.CreateNode("item", "");
      bare = engine.allocations();
    }
    EngineAllocations engine;
    engine.failAfter(bare);  // the first allocation after the element's own
    XmlNode item = doc.CreateNode("item", "text");
    EXPECT_EQ("<item/>", str(item.OuterXml()));
    EXPECT_EQ("E Could not add text to node. Reason: Out of memory\r\n", log.text());
  }
}

}  // namespace
