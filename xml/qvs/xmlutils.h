// xml/qvs/xmlutils.h: the element tree's XML form: writing and reading it.
//
// streamOut writes an element tree compactly: no XML declaration, no indentation, a
// CR LF after every end tag and none after a start tag. An element with a single text
// becomes <key attributes>text</key>; one with a child list becomes
// <key attributes>children...</key>; one with a value list becomes
// <key attributes><val>item</val>...</key>, where an item that is an element list is
// written as <val holding-element's-attributes>children...</val>. An element without
// value is not written at all, attributes included. Names, attribute values and texts
// are escaped with ConvertStringToXmlString; weights are not written, but the order of
// children carries them when weight order is asked for. Writing sorts every child list
// it passes into the asked order (even through the const tree), so no other thread may
// use the tree meanwhile; trees of any depth are written without recursion.
//
//   QVS::Element patient("Patient");
//   patient.insertAttribute("MRN", "M1");
//   patient.addMultiElement().addSingle("Order").set("a<b");
//   OutputMemStream out;
//   QVS::XmlUtils::streamOut(patient, out, QVS::XmlUtils::ByKey, "");
//   // out: <Patient MRN="M1"><Order>a&lt;b</Order>\r\n</Patient>\r\n
//
// Two cases the form has no place for are written so that a reader can take them back:
// - A value list that is itself an item of a value list is written as a <val> element
//   (without attributes) holding its items as <val> items. Reading it back splices its
//   items into the outer list, since the form has no nested value lists.
// - The value overload, which has no element around the value, writes the value under
//   the tag "value" (with the prefix, if any) and no attributes: a single text gives
//   <value>text</value>, a value list <value><val>...</val></value>, an element list
//   <value>children...</value>. Reading that back gives an element "value" holding
//   the value.
#ifndef CORVANE_XML_QVS_XMLUTILS_H
#define CORVANE_XML_QVS_XMLUTILS_H

#include <ace/SString.h>

#include "xml/common/common.h"
#include "xml/export.h"
#include "xml/qvs/element.h"

namespace QVS {

class CORVANE_XML_API XmlUtils {
 public:
  // The order in which child elements are written: ByKey ascending byte-wise key;
  // ByWeight (and any other non-zero value) ascending weight, equal weights by key.
  enum Ordering { ByKey = 0, ByWeight = 1 };

  XmlUtils() = default;
  XmlUtils(const XmlUtils&) = default;
  // XmlUtils has no data: assignment does nothing.
  XmlUtils& operator=(const XmlUtils&) { return *this; }
  XmlUtils& operator=(XmlUtils&&) { return *this; }

  // Writes element in its XML form to out, with prefix before every element's tag
  // (never before "val"). Nothing else is written, and out is not flushed. Errors of
  // the stream or of memory pass to the caller; what was written stays written.
  static void streamOut(const Element& element, OutputStream& out, const Ordering& order,
                        const ACE_CString& prefix);
  // Writes value under the tag "value" (see above).
  static void streamOut(const ValueBase& value, OutputStream& out, const Ordering& order,
                        const ACE_CString& prefix);

  // Reads an element tree in this form from in into root; name serves as the document's
  // system id in error reports. The outermost XML element gives root its key (names are
  // converted to Windows-1252) and appends its attributes to root's; a value root already
  // holds is cleared first. Character data between a start tag and the next tag becomes
  // a single text when it is not empty (text before or after child elements is dropped);
  // <val> items make a value list, and element children inside a <val> make an element
  // list item. Child lists are unsorted and every element below root has weight -1.
  // Throws XmlException::ParserError for a document that does not parse ("XmlBaseBuilder::
  // build: Parsing is incomplete.", after logging the parser's message) and for a document
  // whose outermost element is "val"; root keeps what was read before the error.
  static void streamIn(InputStream& in, Element& root, const ACE_CString& name);
};

}  // namespace QVS

#endif  // CORVANE_XML_QVS_XMLUTILS_H
