// xml/writer/xmlemitter.cpp: XmlEmitter.
#include "xml/writer/xmlemitter.h"

#include "xml/writer/detail/pieces.h"

using corvane_xml_detail::escaped;
using corvane_xml_detail::literal;
using corvane_xml_detail::plain;

namespace {
constexpr const char* kStartElement = "XmlEmitter::startElement";
}

XmlEmitter::XmlEmitter(OutputStream& out) : depth_(0), out_(out) {}

XmlEmitter::~XmlEmitter() = default;

OutputStream& XmlEmitter::getStream() { return out_; }

void XmlEmitter::startDocument() {
  literal(out_, "<?xml version=\"1.0\" encoding=\"");
  literal(out_, "UTF-8");
  literal(out_, "\"?>\r\n");
}

void XmlEmitter::endDocument() {}

void XmlEmitter::documentTypeDecl(const char* const name) {
  literal(out_, "<!DOCTYPE ");
  plain(out_, name);
  literal(out_, " [");
  literal(out_, "\r\n");
}

void XmlEmitter::endDocumentTypeDecl() { literal(out_, "]>"); }

void XmlEmitter::entityDecl(const char* const name, const char* const systemId) {
  literal(out_, "<!ENTITY ");
  plain(out_, name);
  literal(out_, " SYSTEM ");
  literal(out_, "\"");
  plain(out_, systemId);
  literal(out_, "\">");
  literal(out_, "\r\n");
}

void XmlEmitter::entityReference(const char* const name) {
  literal(out_, "&");
  plain(out_, name);
  literal(out_, ";");
  literal(out_, "\r\n");
}

void XmlEmitter::processingInstruction(const char* const target, const char* const data) {
  literal(out_, "<?");
  plain(out_, target);
  if (data != nullptr) {
    literal(out_, " ");
    plain(out_, data);
  }
  literal(out_, "?>");
}

void XmlEmitter::notationDecl(const char* const, const char* const, const char* const) {}

void XmlEmitter::unparsedEntityDecl(const char* const, const char* const, const char* const,
                                    const char* const) {}

void XmlEmitter::newline() { literal(out_, "\r\n"); }

void XmlEmitter::startTag(const char* name, const XmlAttributes& attributes) {
  literal(out_, "<");
  escaped(out_, name);
  // Through the virtual getters, so that a caller's own attribute list works too.
  const unsigned int n = attributes.getLength();
  for (unsigned int i = 0; i < n; ++i) {
    corvane_xml_detail::attribute(out_, attributes.getName(i), attributes.getValue(i));
  }
}

void XmlEmitter::startElement(const char* const name, const XmlAttributes& attributes,
                              bool /*indent*/) {
  startTag(name, attributes);
  literal(out_, ">");
}

void XmlEmitter::startAndEndElement(const char* const name, const XmlAttributes& attributes) {
  startTag(name, attributes);
  literal(out_, "/>");
}

void XmlEmitter::startElement(const char* const name, const XmlAttributes& attributes,
                              const char* value) {
  startElement(name, attributes, false);
  escaped(out_, value);
}

void XmlEmitter::startElement(const char* const name, const char* value) {
  literal(out_, "<");
  escaped(out_, name);
  literal(out_, ">");
  escaped(out_, value);
}

void XmlEmitter::numberElement(const char* name, const char* text, unsigned int length) {
  literal(out_, "<");
  escaped(out_, name);
  literal(out_, ">");
  corvane_xml_detail::piece(out_, text, length);
}

using corvane_xml_detail::NumberText;

// Each number text is made before anything is written, so that a number outside the
// limits writes nothing.
void XmlEmitter::startElement(const char* const name, int value, unsigned int radix) {
  const NumberText n = NumberText::ofSigned(value, radix, kStartElement);
  numberElement(name, n.text, n.length);
}

void XmlEmitter::startElement(const char* const name, unsigned int value, unsigned int radix) {
  const NumberText n = NumberText::ofUnsigned(value, radix, kStartElement);
  numberElement(name, n.text, n.length);
}

void XmlEmitter::startElement(const char* const name, long value, unsigned int radix) {
  const NumberText n = NumberText::ofSigned(value, radix, kStartElement);
  numberElement(name, n.text, n.length);
}

void XmlEmitter::startElement(const char* const name, unsigned long value, unsigned int radix) {
  const NumberText n = NumberText::ofUnsigned(value, radix, kStartElement);
  numberElement(name, n.text, n.length);
}

void XmlEmitter::startElement(const char* const name, float value) {
  const NumberText n = NumberText::ofFloat(static_cast<double>(value), kStartElement);
  numberElement(name, n.text, n.length);
}

void XmlEmitter::startElement(const char* const name, double value) {
  const NumberText n = NumberText::ofFloat(value, kStartElement);
  numberElement(name, n.text, n.length);
}

void XmlEmitter::addValue(const char* const text) {
  plain(out_, text);
  literal(out_, " ");
}

void XmlEmitter::endElement(const char* const name, bool indent) {
  if (indent) {
    --depth_;
    for (int level = 0; level < depth_; ++level) literal(out_, "  ");
  }
  literal(out_, "</");
  plain(out_, name);
  literal(out_, ">");
}
