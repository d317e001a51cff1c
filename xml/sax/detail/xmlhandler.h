// xml/sax/detail/xmlhandler.h: the SAX handler behind XmlBaseBuilder::build, and the
// parse run that build() makes with it (internal).
//
// A builder of this library that knows its own document form may read the parser's
// events directly: it derives a handler from XmlHandler, overrides the document events
// and keeps the error events, and runs the parse with runParse, exactly as build() does.
#ifndef CORVANE_XML_SAX_DETAIL_XMLHANDLER_H
#define CORVANE_XML_SAX_DETAIL_XMLHANDLER_H

#include <functional>

#include <xercesc/sax/HandlerBase.hpp>

#include "xml/sax/xmlparser.h"
#include "xml/writer/xmlemitter.h"

namespace corvane_xml_detail {

// Turns the parser's document events into the builder's callbacks (start tags with their
// attributes as narrow texts of type "CDATA", character data, end tags) and its error
// events into log lines; a fatal error marks the builder incomplete.
class XmlHandler : public xercesc::HandlerBase {
 public:
  explicit XmlHandler(XmlBaseBuilder& builder);
  ~XmlHandler() override;

  void startDocument() override;
  void endDocument() override;
  void startElement(const XMLCh* const name, xercesc::AttributeList& attributes) override;
  void characters(const XMLCh* const chars, const XMLSize_t length) override;
  void endElement(const XMLCh* const name) override;

  void warning(const xercesc::SAXParseException& e) override;
  void error(const xercesc::SAXParseException& e) override;
  void fatalError(const xercesc::SAXParseException& e) override;

 private:
  XmlBaseBuilder& builder_;
  XmlAttributes attributes_;
};

// What build() does once it has its handler: makes an XmlParser with handler as document
// and error handler, installs a resolver over directory when it is not null, runs parse
// on it, and throws XmlException::ParserError "XmlBaseBuilder::build: Parsing is
// incomplete." when the builder was marked incomplete. The parser's SAXException is logged
// and rethrown as ParserError with its message; other exceptions pass.
void runParse(XmlBaseBuilder& builder, xercesc::HandlerBase& handler,
              const XmlEntityDirectory* directory, const std::function<void(XmlParser&)>& parse);

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_SAX_DETAIL_XMLHANDLER_H
