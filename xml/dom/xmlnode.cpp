// xml/dom/xmlnode.cpp: XmlDomError and XmlNode: reading, walking, selecting and growing
// the nodes of a libxml2 document.
#include "xml/dom/xmldocument.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include "xml/dom/detail/engine.h"

namespace dom = corvane_xml_detail::dom;

// ---------------------------------------------------------------------------------
// XmlDomError

XmlDomError::XmlDomError(long status, const std::string& message) : std::runtime_error(message), status_(status) {}
XmlDomError::XmlDomError(const XmlDomError& other) noexcept = default;
XmlDomError& XmlDomError::operator=(const XmlDomError& other) noexcept = default;
XmlDomError::~XmlDomError() = default;

namespace corvane_xml_detail {
namespace dom {

namespace {

// libxml2 reports XPath errors by number only when a handler is installed; these are
// its texts for them.
const char* xpathErrorText(int code) {
  static const char* const kTexts[] = {
      "Ok", "Number encoding", "Unfinished literal", "Start of literal",
      "Expected $ for variable reference", "Undefined variable", "Invalid predicate",
      "Invalid expression", "Missing closing curly brace", "Unregistered function",
      "Invalid operand", "Invalid type", "Invalid number of arguments", "Invalid context size",
      "Invalid context position", "Memory allocation error", "Syntax error", "Resource error",
      "Sub resource error", "Undefined namespace prefix", "Encoding error",
      "Char out of XML range", "Invalid or incomplete context", "Stack usage error",
      "Forbidden variable"};
  const int i = code - XML_XPATH_EXPRESSION_OK;
  if (i >= 0 && i < static_cast<int>(sizeof kTexts / sizeof kTexts[0])) return kTexts[i];
  return "Invalid expression";
}

struct XPathContextFree {
  void operator()(xmlXPathContextPtr p) const { xmlXPathFreeContext(p); }
};
struct XPathObjectFree {
  void operator()(xmlXPathObjectPtr p) const { xmlXPathFreeObject(p); }
};

}  // namespace

std::vector<xmlNodePtr> select(xmlNodePtr context, const char* expression) {
  std::vector<xmlNodePtr> nodes;
  xmlDocPtr doc = isDocumentNode(context) ? reinterpret_cast<xmlDocPtr>(context) : context->doc;
  std::unique_ptr<xmlXPathContext, XPathContextFree> xpath(xmlXPathNewContext(doc));
  if (xpath == nullptr) raise(XmlDomError::OutOfMemory, "Out of memory");
  ErrorCapture errors;
  xpath->node = context;
  xpath->error = captureError;  // keeps libxml2 from printing the error
  xpath->userData = &errors;
  const EngineText text(expression);
  std::unique_ptr<xmlXPathObject, XPathObjectFree> result(xmlXPathEvalExpression(text.get(), xpath.get()));
  if (result == nullptr) {
    const std::string reason = !errors.message.empty() ? narrowString(errors.message.data(), errors.message.size())
                                                        : std::string(xpathErrorText(errors.code));
    raise(XmlDomError::Fail, "XPath error: " + reason + " in \"" + expression + "\"");
  }
  if (result->type != XPATH_NODESET) {
    raise(XmlDomError::Fail, std::string("The expression does not select nodes: \"") + expression + "\"");
  }
  xmlNodeSetPtr set = result->nodesetval;
  if (set == nullptr || set->nodeNr == 0) return nodes;
  if (set->nodeNr > 1) xmlXPathNodeSetSort(set);
  nodes.reserve(static_cast<std::size_t>(set->nodeNr));
  for (int i = 0; i < set->nodeNr; ++i) {
    // Namespace nodes are copies that die with the result; they cannot be handed out.
    if (set->nodeTab[i] != nullptr && set->nodeTab[i]->type != XML_NAMESPACE_DECL) nodes.push_back(set->nodeTab[i]);
  }
  return nodes;
}

namespace {

// True when node's qualified name (prefix:local, or local) is the n bytes at name.
bool hasQualifiedName(const xmlChar* prefix, const xmlChar* local, const char* name, std::size_t n) {
  const char* l = reinterpret_cast<const char*>(local);
  if (prefix == nullptr) return std::strlen(l) == n && std::memcmp(l, name, n) == 0;
  const char* p = reinterpret_cast<const char*>(prefix);
  const std::size_t pn = std::strlen(p);
  return pn < n && std::memcmp(p, name, pn) == 0 && name[pn] == ':' && std::strlen(l) == n - pn - 1 &&
         std::memcmp(l, name + pn + 1, n - pn - 1) == 0;
}

std::string qualifiedName(const xmlNode* node) {
  std::string name;
  if (node->ns != nullptr && node->ns->prefix != nullptr) {
    name = reinterpret_cast<const char*>(node->ns->prefix);
    name += ':';
  }
  name += reinterpret_cast<const char*>(node->name);
  return name;
}

xmlAttrPtr findAttribute(xmlNodePtr element, const char* name, std::size_t n) {
  for (xmlAttrPtr a = element->properties; a != nullptr; a = a->next) {
    if (hasQualifiedName(a->ns != nullptr ? a->ns->prefix : nullptr, a->name, name, n)) return a;
  }
  return nullptr;
}

// The text of a libxml2 allocation, freed.
struct EngineString {
  explicit EngineString(xmlChar* s) : text(s) {}
  ~EngineString() { xmlFree(text); }
  EngineString(const EngineString&) = delete;
  EngineString& operator=(const EngineString&) = delete;
  xmlChar* text;
};

ACE_CString content(xmlNodePtr node) {
  EngineString text(xmlNodeGetContent(node));
  return narrow(text.text);
}

// Links child (unlinked) as parent's last child. Unlike xmlAddChild it never merges
// adjacent texts, which would free a node a handle may hold.
void linkLast(xmlNodePtr parent, xmlNodePtr child) {
  child->parent = parent;
  child->next = nullptr;
  child->prev = parent->last;
  if (parent->last != nullptr) {
    parent->last->next = child;
  } else {
    parent->children = child;
  }
  parent->last = child;
}

const char* kindName(xmlElementType type) {
  switch (type) {
    case XML_ATTRIBUTE_NODE: return "an attribute";
    case XML_DOCUMENT_NODE:
    case XML_HTML_DOCUMENT_NODE: return "a document";
    case XML_DTD_NODE: return "a document type";
    case XML_TEXT_NODE: return "a text";
    case XML_CDATA_SECTION_NODE: return "a character data section";
    case XML_ENTITY_REF_NODE: return "an entity reference";
    default: return "a declaration";
  }
}

// The number of handles on the nodes below top that belong to doc.
long handlesIn(xmlNodePtr top, xmlDocPtr doc) {
  long n = 0;
  std::vector<xmlNodePtr> pending{top};
  while (!pending.empty()) {
    xmlNodePtr cur = pending.back();
    pending.pop_back();
    if (cur->doc == doc) n += static_cast<long>(reinterpret_cast<std::uintptr_t>(cur->_private));
    if (cur->type == XML_ELEMENT_NODE) {
      for (xmlAttrPtr a = cur->properties; a != nullptr; a = a->next) pending.push_back(reinterpret_cast<xmlNodePtr>(a));
    }
    if (cur->type != XML_ENTITY_REF_NODE) {
      for (xmlNodePtr c = cur->children; c != nullptr; c = c->next) pending.push_back(c);
    }
  }
  return n;
}

// Moves node (with its subtree) from its document into doc, unlinked, and moves the
// document references of the handles on its nodes along. Returns how many references
// the old document must drop; the caller drops them last, since they may be all that
// keeps it (and the tree node came from) alive.
long adopt(xmlNodePtr node, xmlDocPtr doc, xmlNodePtr parent) {
  xmlDocPtr from = node->doc;
  // Re-homes the names, texts and namespace references of the subtree (the two documents
  // may keep their names in different dictionaries) and unlinks it.
  const int failed = xmlDOMWrapAdoptNode(nullptr, from, node, doc, parent, 0);
  // Counted by where each node now is, so that the counts stay right even if the engine
  // stopped halfway.
  const long moved = handlesIn(node, doc);
  retainDocument(doc, moved);
  if (failed != 0) {
    releaseDocument(from, moved);
    raise(XmlDomError::Fail, "The node could not be moved into this document");
  }
  return moved;
}

}  // namespace

void appendChild(xmlNodePtr parent, xmlNodePtr child) {
  const bool toDocument = isDocumentNode(parent);
  if (!toDocument && parent->type != XML_ELEMENT_NODE) {
    raise(XmlDomError::Fail, std::string("Only an element or the document can have children, not ") +
                                 kindName(parent->type));
  }
  switch (child->type) {
    case XML_ELEMENT_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
      break;
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_ENTITY_REF_NODE:
      if (!toDocument) break;
      raise(XmlDomError::Fail, std::string("The document cannot hold ") + kindName(child->type) + " at its top level");
    default:
      raise(XmlDomError::Fail, std::string("A node cannot take ") + kindName(child->type) + " as a child");
  }
  for (xmlNodePtr p = parent; p != nullptr; p = p->parent) {
    if (p == child) raise(XmlDomError::Fail, "A node cannot be appended to itself or to one of its descendants");
  }
  xmlDocPtr doc = toDocument ? reinterpret_cast<xmlDocPtr>(parent) : parent->doc;
  if (toDocument && child->type == XML_ELEMENT_NODE) {
    for (xmlNodePtr c = doc->children; c != nullptr; c = c->next) {
      if (c->type == XML_ELEMENT_NODE && c != child) {
        raise(XmlDomError::Fail, "The document already has a root element");
      }
    }
  }
  xmlNodePtr oldTop = topOf(child);
  if (child->doc == doc) {
    xmlUnlinkNode(child);
    linkLast(parent, child);
    // Namespace references may point at declarations of the old ancestors.
    if (child->type == XML_ELEMENT_NODE && xmlDOMWrapReconcileNamespaces(nullptr, child, 0) != 0) {
      raise(XmlDomError::OutOfMemory, "Out of memory");
    }
  } else {
    if (child->type == XML_ENTITY_REF_NODE) {
      raise(XmlDomError::Fail, "An entity reference cannot move to another document");
    }
    xmlDocPtr from = child->doc;
    const long moved = adopt(child, doc, toDocument ? nullptr : parent);
    linkLast(parent, child);
    if (oldTop != child) freeIfOrphaned(oldTop);
    releaseDocument(from, moved);
    return;
  }
  if (oldTop != child) freeIfOrphaned(oldTop);
}

void addAttribute(xmlNodePtr element, xmlNodePtr attribute) {
  if (attribute->type != XML_ATTRIBUTE_NODE) raise(XmlDomError::Fail, "The node is not an attribute");
  if (attribute->parent == element) return;
  if (attribute->parent != nullptr) raise(XmlDomError::Fail, "The attribute belongs to another element");
  if (attribute->doc != element->doc) {
    // A detached attribute: nothing else of its old document hangs on it.
    xmlDocPtr from = attribute->doc;
    releaseDocument(from, adopt(attribute, element->doc, element));
  }
  xmlAttrPtr a = reinterpret_cast<xmlAttrPtr>(attribute);
  const std::string name = qualifiedName(attribute);
  xmlAttrPtr old = findAttribute(element, name.data(), name.size());
  a->parent = element;
  if (old != nullptr) {
    // The new attribute takes the old one's place.
    a->prev = old->prev;
    a->next = old->next;
    if (old->prev != nullptr) {
      old->prev->next = a;
    } else {
      element->properties = a;
    }
    if (old->next != nullptr) old->next->prev = a;
    old->parent = nullptr;
    old->prev = nullptr;
    old->next = nullptr;
    freeIfOrphaned(reinterpret_cast<xmlNodePtr>(old));
    return;
  }
  a->next = nullptr;
  a->prev = nullptr;
  if (element->properties == nullptr) {
    element->properties = a;
    return;
  }
  xmlAttrPtr last = element->properties;
  while (last->next != nullptr) last = last->next;
  last->next = a;
  a->prev = last;
}

}  // namespace dom
}  // namespace corvane_xml_detail

// ---------------------------------------------------------------------------------
// XmlNode

XmlNode::XmlNode() noexcept : node_(nullptr) {}

XmlNode::XmlNode(_xmlNode* node) : node_(nullptr) {
  if (node == nullptr) return;
  xmlDocPtr doc = dom::isDocumentNode(node) ? reinterpret_cast<xmlDocPtr>(node) : node->doc;
  if (node->type == XML_NAMESPACE_DECL || !dom::isLayerDocument(doc)) {
    dom::raise(XmlDomError::InvalidArgument, "The node does not belong to a document of this library");
  }
  dom::retainNode(node);
  node_ = node;
}

XmlNode::XmlNode(const XmlNode& other) noexcept : node_(other.node_) {
  if (node_ != nullptr) dom::retainNode(node_);
}

XmlNode::XmlNode(XmlNode&& other) noexcept : node_(other.node_) { other.node_ = nullptr; }

XmlNode& XmlNode::operator=(const XmlNode& other) noexcept {
  if (other.node_ != nullptr) dom::retainNode(other.node_);
  _xmlNode* old = node_;
  node_ = other.node_;
  if (old != nullptr) dom::releaseNode(old);
  return *this;
}

XmlNode& XmlNode::operator=(XmlNode&& other) noexcept {
  if (this != &other) {
    _xmlNode* old = node_;
    node_ = other.node_;
    other.node_ = nullptr;
    if (old != nullptr) dom::releaseNode(old);
  }
  return *this;
}

XmlNode::~XmlNode() {
  if (node_ != nullptr) dom::releaseNode(node_);
}

bool XmlNode::IsNULL() { return node_ == nullptr; }

ACE_CString XmlNode::Name() {
  if (node_ == nullptr) return ACE_CString();
  switch (node_->type) {
    case XML_ELEMENT_NODE:
    case XML_ATTRIBUTE_NODE: {
      const std::string name = dom::qualifiedName(node_);
      return dom::narrow(name.data(), name.size());
    }
    case XML_TEXT_NODE: return ACE_CString("#text");
    case XML_CDATA_SECTION_NODE: return ACE_CString("#cdata-section");
    case XML_COMMENT_NODE: return ACE_CString("#comment");
    case XML_DOCUMENT_NODE:
    case XML_HTML_DOCUMENT_NODE: return ACE_CString("#document");
    case XML_DOCUMENT_FRAG_NODE: return ACE_CString("#document-fragment");
    default: return dom::narrow(node_->name);
  }
}

ACE_CString XmlNode::Value() {
  if (node_ == nullptr) return ACE_CString();
  switch (node_->type) {
    case XML_ATTRIBUTE_NODE: return dom::content(node_);
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE: return dom::narrow(node_->content);
    default: return ACE_CString();
  }
}

ACE_CString XmlNode::InnerText() const {
  if (node_ == nullptr) return ACE_CString();
  return dom::content(node_);
}

ACE_CString XmlNode::OuterXml() const {
  if (node_ == nullptr) return ACE_CString();
  const std::string text = dom::markup(node_);
  return dom::narrow(text.data(), text.size());
}

ACE_CString XmlNode::InnerXml() const {
  if (node_ == nullptr || node_->type == XML_ENTITY_REF_NODE) return ACE_CString();
  std::string text;
  for (xmlNodePtr child = node_->children; child != nullptr; child = child->next) text += dom::markup(child);
  return dom::narrow(text.data(), text.size());
}

ACE_CString XmlNode::GetAttribute(const char* name) {
  if (node_ == nullptr) return ACE_CString();
  if (node_->type != XML_ELEMENT_NODE) dom::raiseInvalidPointer();
  if (name == nullptr) return ACE_CString();
  const dom::EngineText wanted(name);
  if (xmlAttrPtr a = dom::findAttribute(node_, wanted.data(), wanted.size())) {
    return dom::content(reinterpret_cast<xmlNodePtr>(a));
  }
  // Namespace declarations are not attributes in libxml2's tree.
  if (std::strncmp(wanted.data(), "xmlns", 5) == 0 && (wanted.size() == 5 || wanted.data()[5] == ':')) {
    const char* prefix = wanted.size() == 5 ? nullptr : wanted.data() + 6;
    for (xmlNsPtr ns = node_->nsDef; ns != nullptr; ns = ns->next) {
      const char* p = reinterpret_cast<const char*>(ns->prefix);
      if ((prefix == nullptr && p == nullptr) || (prefix != nullptr && p != nullptr && std::strcmp(prefix, p) == 0)) {
        return dom::narrow(ns->href);
      }
    }
  }
  return ACE_CString();
}

XmlNode XmlNode::ParentNode() {
  if (node_ == nullptr || dom::isDocumentNode(node_)) return XmlNode();
  return XmlNode(node_->parent);
}

void XmlNode::GetChildNodes(std::vector<XmlNode>& list) const {
  // An entity reference's children are the entity's declaration, not its own.
  if (node_ == nullptr || node_->type == XML_ENTITY_REF_NODE) return;
  for (xmlNodePtr child = node_->children; child != nullptr; child = child->next) list.emplace_back(child);
}

XmlNode XmlNode::SelectNode(const char* expression) {
  if (node_ == nullptr || expression == nullptr) return XmlNode();
  const std::vector<xmlNodePtr> nodes = dom::select(node_, expression);
  return nodes.empty() ? XmlNode() : XmlNode(nodes.front());
}

void XmlNode::SelectNodes(const char* expression, std::vector<XmlNode>& list) {
  if (node_ == nullptr || expression == nullptr) return;
  const std::vector<xmlNodePtr> nodes = dom::select(node_, expression);
  list.reserve(list.size() + nodes.size());
  for (xmlNodePtr n : nodes) list.emplace_back(n);
}

XmlNode XmlNode::AppendChild(XmlNode& child) {
  if (node_ == nullptr) return XmlNode();
  if (child.node_ == nullptr) dom::raise(XmlDomError::InvalidArgument, "The node to append is a null node");
  dom::appendChild(node_, child.node_);
  return child;
}

XmlNode XmlNode::AddAttribute(XmlNode& attribute) {
  if (node_ == nullptr) return XmlNode();
  if (node_->type != XML_ELEMENT_NODE) dom::raiseInvalidPointer();
  if (attribute.node_ == nullptr) dom::raise(XmlDomError::InvalidArgument, "The attribute is a null node");
  dom::addAttribute(node_, attribute.node_);
  return attribute;
}
