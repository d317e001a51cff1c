// xml/dom/xmldocument.h: whole XML documents held in memory (XmlDocument, XmlNode).
//
// The document object layer loads a document from a file or from text, prints and saves
// it, finds nodes with XPath 1.0 expressions, reads their names, values, texts and markup,
// grows the tree with new elements and attributes, and validates the document against an
// XML Schema document. The engine underneath is libxml2; none of its types appear here
// beyond the opaque node pointer of XmlNode's constructor.
//
// XmlDocument and XmlNode are handles holding counted references: copies share one
// document or node, a move leaves the source empty (a null node, a document with no
// engine document), and a node keeps the document it lives in alive, so a node may
// outlive every XmlDocument it came from. Nodes made by CreateNode or CreateAttribute and
// not yet attached are freed when the last handle on them (or on a node below them)
// goes; once attached they belong to the document's tree.
//
// Text crosses the interface as narrow Windows-1252 strings: arguments are converted to
// the engine's UTF-8 and results back, a character the code page lacks becoming "?".
// Only the text given to LoadXml is decoded from a code page the caller chooses.
//
// Failures: engine failures and the layer's own refusals raise XmlDomError (a status in
// the 32-bit form of the platform's component errors and a message); absent things are
// answered with "", false or a null node. A document, its copies and the nodes taken
// from it are used by one thread at a time; documents that share nothing may be used
// on different threads at once.
//
//   XmlDocument doc;
//   doc.LoadXml("<a x='1'>t<b/></a>");
//   XmlNode root = doc.GetDocElementNode();       // <a>
//   root.GetAttribute("x");                       // "1"
//   XmlNode item = doc.CreateNode("item", "text");
//   root.AppendChild(item);
//   doc.GetElementByTagName("//item").OuterXml(); // "<item>text</item>"
#ifndef CORVANE_XML_DOM_XMLDOCUMENT_H
#define CORVANE_XML_DOM_XMLDOCUMENT_H

#include <stdexcept>
#include <string>
#include <vector>

#include <ace/SString.h>

#include "xml/export.h"

struct _xmlNode;  // libxml2's node; opaque here

namespace corvane_xml_detail {
struct DomDocument;
struct DomValidation;
}  // namespace corvane_xml_detail

// An engine failure or a refused operation of the document layer. status() is a 32-bit
// component status read as signed (negative for failures); what() is the message.
class CORVANE_XML_API XmlDomError : public std::runtime_error {
 public:
  // 0x80004003: a node lacks what the operation needs (GetAttribute on a node that is not
  // an element, AddAttribute on a node without attributes, Validate on a document that
  // was never created). The message is "Invalid pointer".
  static constexpr long InvalidPointer = -2147467261L;
  // 0x80004005: the engine refused the operation (an XPath expression that does not
  // compile or selects no nodes, a child the tree cannot take, a name that is not an
  // XML name).
  static constexpr long Fail = -2147467259L;
  // 0x80070057: an argument the operation cannot use (a null node to append, a code page
  // the system cannot decode, a node of a foreign document).
  static constexpr long InvalidArgument = -2147024809L;
  // 0x8007000E: the engine ran out of memory.
  static constexpr long OutOfMemory = -2147024882L;

  XmlDomError(long status, const std::string& message);
  XmlDomError(const XmlDomError& other) noexcept;
  XmlDomError& operator=(const XmlDomError& other) noexcept;
  ~XmlDomError() override;

  long status() const noexcept { return status_; }

 private:
  long status_;
};

// A handle on one node of a document: an element, an attribute, a text, a comment, a
// processing instruction, a character data section, the document type or the document
// node itself; or on nothing (the null node). A null node answers every operation with
// "", a null node, or an untouched list, and touches no engine object.
class CORVANE_XML_API XmlNode {
 public:
  // A further handle on node, which must belong to a document of this layer (a node the
  // layer handed out, through any handle). Null gives the null node. A node of any other
  // document raises XmlDomError InvalidArgument.
  explicit XmlNode(_xmlNode* node);
  // Copies denote the same node; a move leaves other null.
  XmlNode(const XmlNode& other) noexcept;
  XmlNode(XmlNode&& other) noexcept;
  XmlNode& operator=(const XmlNode& other) noexcept;
  XmlNode& operator=(XmlNode&& other) noexcept;
  ~XmlNode();

  // True for the null node.
  bool IsNULL();

  // The node's name: an element's or attribute's qualified name, a processing
  // instruction's target, the document type's name, or "#text", "#cdata-section",
  // "#comment", "#document".
  ACE_CString Name();

  // The value of an attribute, text, character data section, comment or processing
  // instruction; "" for elements, the document and other nodes without a value.
  ACE_CString Value();

  // The text of the node and its descendants in document order (texts and character
  // data sections; comments and processing instructions add nothing to an element's).
  ACE_CString InnerText() const;

  // The node's markup with its descendants: "<b x=\"1\">t</b>", "x=\"1\"" for an
  // attribute, the escaped text for a text node. For the document node, as
  // XmlDocument::ToString.
  ACE_CString OuterXml() const;

  // The OuterXml of each child, in order, joined with nothing between; "" without
  // children.
  ACE_CString InnerXml() const;

  // The value of the element's attribute of that qualified name ("xmlns" and "xmlns:p"
  // give namespace declarations); "" when absent, when its value is empty, or for a null
  // name. A node that is not an element raises XmlDomError InvalidPointer.
  ACE_CString GetAttribute(const char* name);

  // The parent: the element of an attribute, the document of the root element; the null
  // node for the document itself and for a node that is not attached.
  XmlNode ParentNode();

  // Appends the children (every kind, in document order; an attribute's are its texts)
  // to list, after what it holds.
  void GetChildNodes(std::vector<XmlNode>& list) const;

  // The first node, in document order, that the XPath 1.0 expression selects with this
  // node as context; the null node when it selects none or expression is null. An
  // expression that does not compile or gives no node set raises XmlDomError Fail.
  //   root.SelectNode("b")     // the child element b
  //   root.SelectNode("//b")   // the first b of the whole document
  XmlNode SelectNode(const char* expression);

  // As SelectNode, appending every selected node in document order to list (namespace
  // nodes excepted). A null expression leaves list untouched.
  void SelectNodes(const char* expression, std::vector<XmlNode>& list);

  // Moves child to the end of this node's children and returns it. A child from another
  // document is moved into this one (its handles follow it). Raises XmlDomError:
  // InvalidArgument for a null child; Fail when this node cannot hold children (only
  // elements and the document can), when child is this node or one of its ancestors,
  // when child is a document, an attribute or a declaration, or when the document would
  // get a second root element or a text at its top level.
  XmlNode AppendChild(XmlNode& child);

  // Attaches the attribute (from XmlDocument::CreateAttribute) to this element and
  // returns it; an attribute of the same qualified name is replaced (and freed once no
  // handle holds it). An attribute already on this element is left where it is. Raises
  // XmlDomError: InvalidPointer when this node is not an element; InvalidArgument for a
  // null attribute; Fail for a node that is not an attribute or one attached to another
  // element.
  XmlNode AddAttribute(XmlNode& attribute);

 protected:
  // The null node.
  XmlNode() noexcept;

 private:
  friend class XmlDocument;
  _xmlNode* node_;
};

// A handle on one whole document. A default-constructed document holds no engine
// document; the operations that need one (Load, LoadXml, Save, CreateNode,
// CreateAttribute) create it on first use, the others answer as for an empty document.
// Copies share one engine document: a load or an edit through one is seen through all.
// Each copy keeps its own last validation result.
class CORVANE_XML_API XmlDocument {
 public:
  XmlDocument() noexcept;
  XmlDocument(const XmlDocument& other) noexcept;
  XmlDocument(XmlDocument&& other) noexcept;
  XmlDocument& operator=(const XmlDocument& other) noexcept;
  XmlDocument& operator=(XmlDocument&& other) noexcept;
  ~XmlDocument();

  // Loads the file at location, a path or a "file:" URL (the network is never used).
  // True when it parsed; otherwise false, the document is left empty, and nothing is
  // logged.
  bool Load(const char* location);

  // LoadXml(text, 3): the text in the system code page (Windows-1252).
  bool LoadXml(const char* text);

  // Replaces the document with the one parsed from text, decoded from the Windows code
  // page identifier: 65001 UTF-8, 1200 UTF-16LE and 1201 UTF-16BE (the text then ends
  // at a 16-bit zero), 0, 3 and 1252 Windows-1252, 20127 US-ASCII, 28591-28605
  // ISO-8859-1 to -15, any other n as the system converter's "CP<n>". A leading UTF-8
  // byte order mark (EF BB BF) is skipped whatever the code page; bytes the code page
  // cannot decode become U+FFFD; an encoding named in the XML declaration is ignored.
  // DTDs are not loaded, entities not substituted, the network never used. A text that
  // does not parse gives false, logs "Unable to parse xml file. Reason: <reason>\r\n" at
  // LM_ERROR (when the engine gives a reason) and leaves the document empty; an engine
  // failure gives false and logs "Failed to laod xml file. Reason: <message>\r\n". A
  // code page the system does not know raises XmlDomError InvalidArgument before
  // anything is parsed or logged. text must not be null.
  bool LoadXml(const char* text, unsigned int codePage);

  // Writes the document to the file at path in UTF-8. False for a null path. When the
  // file cannot be written, logs "Unable to save xml file" at LM_ERROR and throws the
  // character string "Unable to save updated XML document" (const char*).
  bool Save(const char* path);

  // The markup of the whole document: an XML declaration line, then each top-level node
  // on a line of its own; "" for a document with no content.
  //   after LoadXml("<a/>"): "<?xml version=\"1.0\"?>\n<a/>\n"
  ACE_CString ToString() const;

  // The document's first child: the root element, or whatever precedes it (a document
  // type, a comment, a processing instruction). The null node for an empty document.
  XmlNode GetDocElementNode() const;

  // The first node the XPath expression selects from the document node: "a" finds the
  // root only when it is named a, "//a" the first a anywhere. The null node when none is
  // selected, for a null expression and for an empty document. Raises as
  // XmlNode::SelectNode.
  XmlNode GetElementByTagName(const char* expression) const;

  // A new element of that name, in no namespace and not yet in the tree. Content that
  // starts with "<" is parsed (as LoadXml(content) would parse it, logging the same way)
  // and the first node of the result is appended to the element; when it does not parse
  // there is no node to append and XmlDomError InvalidArgument is raised. Other content
  // becomes the element's text ("" adds none); a failure to add it is logged at LM_ERROR
  // as "Could not add text to node. Reason: <message>\r\n" and the element is returned
  // without it. A null name raises XmlDomError InvalidArgument, a name that is not an XML
  // qualified name XmlDomError Fail.
  //   CreateNode("item", "text")      // <item>text</item>
  //   CreateNode("item", "<b>x</b>")  // <item><b>x</b></item>
  XmlNode CreateNode(const char* name, const char* content);

  // A new attribute, attached to no element: the null node when name or value is null.
  // Raises as CreateNode for a name that is not an XML qualified name.
  XmlNode CreateAttribute(const char* name, const char* value);

  // Validates this document against the XML Schema document schema, compiled anew on
  // every call. False, with the last validation result untouched, when schema holds no
  // engine document or is not an XML Schema. Otherwise the result of this validation
  // becomes the last one and the answer is whether the document is valid. Raises
  // XmlException::ValidatorMissingException "XMLSchemaCache60 validator missing" (after
  // logging "Could not instantiate IXMLDOMSchemaCollectionPtr" at LM_ERROR) when no
  // validator can be made, and XmlDomError InvalidPointer when this document holds no
  // engine document.
  bool Validate(XmlDocument schema);

  // "" when the last validation passed or there was none; otherwise
  // "Error code: <code>\nReason: <reason>" for its first error, the code being the
  // engine's error number made negative and the reason the engine's text as it gives it:
  //   "Error code: -1871\nReason: Element 'c': This element is not expected. ...\n"
  ACE_CString GetValidationError() const;

 private:
  // Creates the engine document. When it cannot, logs "MSXML6 not available on host
  // system. Reverting to MSXML3\n" at LM_DEBUG, then "Unable to create MSXML::
  // DOMDocument object\n" at LM_ERROR, and throws that text without its line feed as a
  // const char*.
  void Initialize();

  corvane_xml_detail::DomDocument* document_;
  corvane_xml_detail::DomValidation* validation_;
};

#endif  // CORVANE_XML_DOM_XMLDOCUMENT_H
