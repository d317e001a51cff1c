// xml/dom/detail/engine.h: the document layer's hold on libxml2 (internal).
//
// Ownership. Every libxml2 document the layer makes carries a DocRef in its _private
// field: a count of the handles that keep it alive (documents whose current tree it is,
// and node handles on any node whose doc it is). The document is freed when the count
// drops to zero. Every other node carries in its own _private field the number of node
// handles on it. A subtree that hangs in no tree (made by CreateNode or CreateAttribute,
// or an attribute replaced by another) is freed as soon as no handle is left on any node
// in it; while one is, the document keeps it. So a node never dies under a handle, and
// nothing outlives its last handle by more than its document does.
#ifndef CORVANE_XML_DOM_DETAIL_ENGINE_H
#define CORVANE_XML_DOM_DETAIL_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <ace/Log_Priority.h>
#include <ace/SString.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

namespace corvane_xml_detail {

// What an XmlDocument and its copies share: the libxml2 document that is its current tree
// (one count on its DocRef). Loading replaces the document; the old one lives on while
// node handles hold it.
struct DomDocument {
  long count;
  xmlDocPtr doc;
};

// The result of a validation, shared by the copies of an XmlDocument that made it.
struct DomValidation {
  long count;
  long code;           // 0 when valid, otherwise the engine's error number made negative
  std::string reason;  // Windows-1252
};

namespace dom {

// The log records' source file name.
constexpr const char* kLogFile = "xml/dom/xmldocument";

// Logs text at priority with the layer's source file name, status 0.
void log(ACE_Log_Priority priority, int line, const std::string& text);

// Raises XmlDomError.
[[noreturn]] void raise(long status, const std::string& message);
[[noreturn]] void raiseInvalidPointer();

// A new empty libxml2 document with its DocRef (count 0); null when the engine cannot
// make one.
xmlDocPtr newDocument() noexcept;
// Gives a freshly parsed document its DocRef (count 0) and the layer's settings; false
// (the document untouched) when that fails.
bool adoptDocument(xmlDocPtr doc) noexcept;
// True when doc carries a DocRef of this layer.
bool isLayerDocument(xmlDocPtr doc) noexcept;
void retainDocument(xmlDocPtr doc, long n = 1) noexcept;
void releaseDocument(xmlDocPtr doc, long n = 1) noexcept;

// A node handle's reference: nodes count on themselves and on their document; the
// document node only on itself. releaseNode frees a detached subtree whose last handle
// goes.
void retainNode(xmlNodePtr node) noexcept;
void releaseNode(xmlNodePtr node) noexcept;

// Frees the subtree at top when it hangs in no tree and no handle holds a node in it.
void freeIfOrphaned(xmlNodePtr top) noexcept;

// True for the document node (the libxml2 document itself).
inline bool isDocumentNode(const xmlNode* node) {
  return node->type == XML_DOCUMENT_NODE || node->type == XML_HTML_DOCUMENT_NODE;
}

// The top of the tree node hangs in: the document's child it is under, or the root of
// a detached subtree (whose parent is null).
xmlNodePtr topOf(xmlNodePtr node) noexcept;

// Narrow (Windows-1252) text to the engine's UTF-8. ASCII text is used in place.
class EngineText {
 public:
  explicit EngineText(const char* text);
  EngineText(const char* text, std::size_t n);
  const xmlChar* get() const { return text_; }
  const char* data() const { return reinterpret_cast<const char*>(text_); }
  std::size_t size() const { return size_; }

 private:
  std::string buffer_;
  const xmlChar* text_;
  std::size_t size_;
};

// The engine's UTF-8 text in Windows-1252 ("?" for characters the code page lacks).
ACE_CString narrow(const xmlChar* text);
ACE_CString narrow(const char* text, std::size_t n);
std::string narrowString(const char* text, std::size_t n);

// The first error of level error or fatal that the engine reports to a structured
// handler; warnings are passed over.
struct ErrorCapture {
  bool seen = false;
  int code = 0;
  std::string message;  // UTF-8, as the engine gives it
};
void captureError(void* capture, xmlErrorPtr error);

// The node's markup (OuterXml) as UTF-8.
std::string markup(xmlNodePtr node);

// The nodes the XPath 1.0 expression selects with context as its context node, in document
// order, namespace nodes left out. Raises XmlDomError Fail when the expression does not
// compile or gives no node set.
std::vector<xmlNodePtr> select(xmlNodePtr context, const char* expression);

// Moves child to the end of parent's children, from wherever it is, another document
// included; raises XmlDomError for what the tree cannot take (see XmlNode::AppendChild).
void appendChild(xmlNodePtr parent, xmlNodePtr child);

// Attaches the detached attribute to element, replacing one of the same qualified name
// (see XmlNode::AddAttribute).
void addAttribute(xmlNodePtr element, xmlNodePtr attribute);

// Decodes the text of LoadXml (its BOM already skipped) from the Windows code page to
// UTF-8. When the bytes can go to the engine as they are, sets data/size to them and
// leaves buffer empty; otherwise fills buffer and points data/size at it. Raises
// XmlDomError InvalidArgument for a code page the system cannot decode.
void decodeCodePage(const char* text, unsigned int codePage, std::string& buffer, const char*& data,
                    std::size_t& size);

}  // namespace dom
}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_DOM_DETAIL_ENGINE_H
