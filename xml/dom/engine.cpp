// xml/dom/engine.cpp: the document layer's hold on libxml2: reference counts on documents
// and nodes, freeing of detached subtrees, text conversions, error capture, markup.
#include "xml/dom/detail/engine.h"

#include <cstring>
#include <new>

#include <libxml/xmlIO.h>
#include <libxml/xmlmemory.h>
#include <libxml/xmlsave.h>

#include "xml/detail/charsets.h"
#include "xml/detail/log.h"
#include "xml/dom/xmldocument.h"

namespace corvane_xml_detail {
namespace dom {

namespace {

// Marks the DocRefs this layer puts into libxml2 documents' _private fields.
constexpr std::uint32_t kDocRefTag = 0x444F4D31;  // "DOM1"

struct DocRef {
  std::uint32_t tag = kDocRefTag;
  long count = 0;
};

inline DocRef* docRef(xmlDocPtr doc) { return static_cast<DocRef*>(doc->_private); }

// A node's handle count lives in its _private field as a plain number.
inline std::uintptr_t handles(const xmlNode* node) { return reinterpret_cast<std::uintptr_t>(node->_private); }
inline void setHandles(xmlNodePtr node, std::uintptr_t n) { node->_private = reinterpret_cast<void*>(n); }

// Calls visit on top and every node below it: children, attributes and the attributes'
// texts. Entity references are leaves (their children belong to the DTD). Iterative, so
// that deep documents cannot exhaust the stack. Stops when visit returns false; returns
// false then.
template <typename Visit>
bool walk(xmlNodePtr top, Visit visit) {
  xmlNodePtr cur = top;
  for (;;) {
    if (!visit(cur)) return false;
    if (cur->type == XML_ELEMENT_NODE) {
      for (xmlAttrPtr a = cur->properties; a != nullptr; a = a->next) {
        if (!visit(reinterpret_cast<xmlNodePtr>(a))) return false;
        for (xmlNodePtr t = a->children; t != nullptr; t = t->next) {
          if (!visit(t)) return false;
        }
      }
    }
    if (cur->children != nullptr && cur->type != XML_ENTITY_REF_NODE) {
      if (cur->type == XML_ATTRIBUTE_NODE) {
        // Only when top is an attribute: its texts.
        for (xmlNodePtr t = cur->children; t != nullptr; t = t->next) {
          if (!visit(t)) return false;
        }
      } else {
        cur = cur->children;
        continue;
      }
    }
    while (cur != top && cur->next == nullptr) cur = cur->parent;
    if (cur == top) return true;
    cur = cur->next;
  }
}

void freeTree(xmlNodePtr top) {
  if (top->type == XML_ATTRIBUTE_NODE) {
    xmlFreeProp(reinterpret_cast<xmlAttrPtr>(top));
  } else {
    xmlFreeNode(top);
  }
}

}  // namespace

void log(ACE_Log_Priority priority, int line, const std::string& text) {
  logText(priority, kLogFile, line, 0, text);
}

void raise(long status, const std::string& message) { throw XmlDomError(status, message); }

void raiseInvalidPointer() { raise(XmlDomError::InvalidPointer, "Invalid pointer"); }

bool adoptDocument(xmlDocPtr doc) noexcept {
  DocRef* ref = new (std::nothrow) DocRef;
  if (ref == nullptr) return false;
  // Without a document encoding libxml2 writes every non-ASCII character of an attribute
  // value as a character reference; the layer's markup is plain UTF-8 throughout.
  if (doc->encoding == nullptr) {
    doc->encoding = xmlStrdup(BAD_CAST "UTF-8");
    if (doc->encoding == nullptr) {
      delete ref;
      return false;
    }
  }
  doc->_private = ref;
  return true;
}

xmlDocPtr newDocument() noexcept {
  xmlDocPtr doc = xmlNewDoc(BAD_CAST "1.0");
  if (doc == nullptr) return nullptr;
  if (!adoptDocument(doc)) {
    xmlFreeDoc(doc);
    return nullptr;
  }
  return doc;
}

bool isLayerDocument(xmlDocPtr doc) noexcept {
  return doc != nullptr && doc->_private != nullptr && docRef(doc)->tag == kDocRefTag;
}

void retainDocument(xmlDocPtr doc, long n) noexcept { docRef(doc)->count += n; }

void releaseDocument(xmlDocPtr doc, long n) noexcept {
  if (n == 0) return;
  DocRef* ref = docRef(doc);
  ref->count -= n;
  if (ref->count > 0) return;
  // No handle is left on any of its nodes, so no detached subtree is left either: each
  // was freed with the last handle on it.
  doc->_private = nullptr;
  delete ref;
  xmlFreeDoc(doc);
}

void retainNode(xmlNodePtr node) noexcept {
  if (isDocumentNode(node)) {
    retainDocument(reinterpret_cast<xmlDocPtr>(node));
    return;
  }
  setHandles(node, handles(node) + 1);
  retainDocument(node->doc);
}

void releaseNode(xmlNodePtr node) noexcept {
  if (isDocumentNode(node)) {
    releaseDocument(reinterpret_cast<xmlDocPtr>(node));
    return;
  }
  xmlDocPtr doc = node->doc;  // node may be freed below; its document outlives it
  const std::uintptr_t n = handles(node) - 1;
  setHandles(node, n);
  if (n == 0) freeIfOrphaned(topOf(node));
  releaseDocument(doc);
}

xmlNodePtr topOf(xmlNodePtr node) noexcept {
  while (node->parent != nullptr && !isDocumentNode(node->parent)) node = node->parent;
  return node;
}

void freeIfOrphaned(xmlNodePtr top) noexcept {
  if (top->parent != nullptr || isDocumentNode(top)) return;  // in a document's tree
  const bool held = !walk(top, [](xmlNodePtr n) { return handles(n) == 0; });
  if (!held) freeTree(top);
}

// ---------------------------------------------------------------------------------
// Text

EngineText::EngineText(const char* text) : EngineText(text, text != nullptr ? std::strlen(text) : 0) {}

EngineText::EngineText(const char* text, std::size_t n) {
  if (text == nullptr) {
    text_ = BAD_CAST "";
    size_ = 0;
  } else if (isAscii(text, n)) {
    text_ = reinterpret_cast<const xmlChar*>(text);
    size_ = n;
  } else {
    appendAnsiAsUtf8(text, n, buffer_);
    text_ = reinterpret_cast<const xmlChar*>(buffer_.c_str());
    size_ = buffer_.size();
  }
}

std::string narrowString(const char* text, std::size_t n) {
  std::string out;
  if (isAscii(text, n)) {
    out.assign(text, n);
  } else {
    appendUtf8AsAnsi(text, n, out);
  }
  return out;
}

ACE_CString narrow(const char* text, std::size_t n) {
  if (n == 0) return ACE_CString();
  if (isAscii(text, n)) return ACE_CString(text, n);
  const std::string out = narrowString(text, n);
  return ACE_CString(out.data(), out.size());
}

ACE_CString narrow(const xmlChar* text) {
  if (text == nullptr) return ACE_CString();
  const char* s = reinterpret_cast<const char*>(text);
  return narrow(s, std::strlen(s));
}

void captureError(void* capture, xmlErrorPtr error) {
  ErrorCapture* c = static_cast<ErrorCapture*>(capture);
  if (c->seen || error == nullptr || error->level < XML_ERR_ERROR) return;
  c->seen = true;
  c->code = error->code;
  if (error->message != nullptr) c->message = error->message;
}

// ---------------------------------------------------------------------------------
// Markup

namespace {

// Serialises into a memory buffer without an encoder: libxml2's own UTF-8, with only
// the characters markup requires escaped.
class Output {
 public:
  Output() : buffer_(xmlAllocOutputBuffer(nullptr)) {
    if (buffer_ == nullptr) raise(XmlDomError::OutOfMemory, "Out of memory");
  }
  ~Output() { xmlOutputBufferClose(buffer_); }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void node(xmlDocPtr doc, xmlNodePtr node) { xmlNodeDumpOutput(buffer_, doc, node, 0, 0, "UTF-8"); }
  void text(const char* s) { xmlOutputBufferWriteString(buffer_, s); }

  std::string take() {
    xmlOutputBufferFlush(buffer_);
    if (buffer_->error != 0) raise(XmlDomError::OutOfMemory, "Out of memory");
    return std::string(reinterpret_cast<const char*>(xmlOutputBufferGetContent(buffer_)),
                       xmlOutputBufferGetSize(buffer_));
  }

 private:
  xmlOutputBufferPtr buffer_;
};

}  // namespace

std::string markup(xmlNodePtr node) {
  Output out;
  if (isDocumentNode(node)) {
    xmlDocPtr doc = reinterpret_cast<xmlDocPtr>(node);
    if (doc->children == nullptr) return std::string();
    // The declaration names no encoding: the text is handed out in the system code page,
    // not in the UTF-8 the engine holds.
    out.text("<?xml version=\"");
    out.text(doc->version != nullptr ? reinterpret_cast<const char*>(doc->version) : "1.0");
    out.text("\"");
    if (doc->standalone == 1) out.text(" standalone=\"yes\"");
    if (doc->standalone == 0) out.text(" standalone=\"no\"");
    out.text("?>\n");
    for (xmlNodePtr child = doc->children; child != nullptr; child = child->next) {
      out.node(doc, child);
      out.text("\n");
    }
    return out.take();
  }
  out.node(node->doc, node);
  std::string text = out.take();
  // An attribute is written as it stands in its element's start tag, after a space.
  if (node->type == XML_ATTRIBUTE_NODE && !text.empty() && text[0] == ' ') text.erase(0, 1);
  return text;
}

}  // namespace dom
}  // namespace corvane_xml_detail
