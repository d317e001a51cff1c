// xml/sax/xmlparser.h: reading XML through the Xerces-C SAX parser.
//
// XmlInputSource offers a byte stream (InputStream) to the parser under a name that serves
// as the document's system id. XmlEntityDirectory maps system ids of external entities to
// input sources, and XmlEntityResolver answers the parser from such a directory, refusing
// any id it lacks. XmlParser drives one SAX parser, whole or step by step. XmlBaseBuilder
// is the base of document receivers: build() parses its input and calls startElement,
// value and endElement (names and texts in UTF-16, attributes as narrow Windows-1252
// texts); a fatal parse error is logged and makes build() throw XmlException::ParserError
// "XmlBaseBuilder::build: Parsing is incomplete.", after the callbacks for the part before
// the error. The parser runtime must be started (the library does that when it is loaded,
// see xml/xml.h). Objects serve one thread at a time; parses on different threads share
// nothing.
//
//   class Titles : public XmlBaseBuilder {
//    public:
//     using XmlBaseBuilder::XmlBaseBuilder;
//     void startElement(const XMLCh* const name, const XmlAttributes& attributes) override;
//   };
//   InputMemStream bytes("<a x=\"1\"/>");
//   XmlInputSource input(bytes, "a.xml");
//   Titles(input, nullptr).build();
#ifndef CORVANE_XML_SAX_XMLPARSER_H
#define CORVANE_XML_SAX_XMLPARSER_H

#include <map>

#include <ace/SString.h>
#include <xercesc/sax/EntityResolver.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/BinInputStream.hpp>

#include "xml/common/common.h"
#include "xml/export.h"
#include "xml/writer/xmlemitter.h"

XERCES_CPP_NAMESPACE_BEGIN
class SAXParser;
class XMLPScanToken;
XERCES_CPP_NAMESPACE_END

// InputBinStream: the parser's byte stream over an InputStream it does not own.
class CORVANE_XML_API InputBinStream : public xercesc::BinInputStream {
 public:
  explicit InputBinStream(InputStream& stream);
  ~InputBinStream() override;
  // The stream's CurPos().
  XMLFilePos curPos() const override;
  // The stream's ReadBytes: the number of bytes read, 0 at the end.
  XMLSize_t readBytes(XMLByte* const buffer, const XMLSize_t count) override;
  // No content type is known: null.
  const XMLCh* getContentType() const override;

 private:
  InputStream& stream_;
};

// SaxInputSource: the parser's input source over an InputStream it does not own; made by
// XmlInputSource. A non-empty name becomes the system id, each byte widened to the UTF-16
// unit of the same value.
class CORVANE_XML_API SaxInputSource : public xercesc::InputSource {
 public:
  SaxInputSource(InputStream* stream, const ACE_CString& name);
  ~SaxInputSource() override;
  // A new InputBinStream over the stream (not rewound), which the parser deletes.
  xercesc::BinInputStream* makeStream() const override;

 private:
  InputStream* stream_;
};

// XmlInputSource: a document to read, as a stream and a name. The handle owns its parser
// input source until OrphanSource gives it away, and owns the stream only when told so.
// A handle is read once: nothing rewinds the stream.
class CORVANE_XML_API XmlInputSource {
 public:
  // An empty document: an owned empty InputMemStream, no name.
  XmlInputSource();
  // Over stream, which the caller keeps alive and deletes.
  XmlInputSource(InputStream& stream, const ACE_CString& name);
  // Over stream; the handle deletes it when ownsStream is set.
  XmlInputSource(InputStream* stream, const ACE_CString& name, bool ownsStream);
  XmlInputSource(const XmlInputSource&) = delete;
  XmlInputSource& operator=(const XmlInputSource&) = delete;
  virtual ~XmlInputSource();

  // The parser input source; null once it was orphaned.
  const xercesc::InputSource* GetSource() const;
  // Gives the parser input source to the caller, who then owns it; the handle holds none
  // afterwards (a second call gives null).
  xercesc::InputSource* OrphanSource();
  // Points the handle at another stream: deletes the current stream if owned, takes the
  // new one with its flag and builds a new parser input source over it with the name.
  // A stream the handle owns must not be passed back to it.
  void Set(InputStream* stream, const ACE_CString& name, bool ownsStream);

 private:
  InputStream* stream_;
  SaxInputSource* source_;
  bool ownsStream_;
};

// XmlEntityDirectory: input sources for external entities, by system id (exact,
// case-sensitive, byte for byte: "a.dtd" and "./a.dtd" differ). Owned sources are deleted
// with the directory; a source that addEntry replaces is not deleted (it is the caller's
// again). Each handle serves one resolution.
class CORVANE_XML_API XmlEntityDirectory {
 public:
  XmlEntityDirectory();
  XmlEntityDirectory(const XmlEntityDirectory&) = delete;
  XmlEntityDirectory& operator=(const XmlEntityDirectory&) = delete;
  ~XmlEntityDirectory();

  // Sets the entry for systemId to source, not owned.
  void addEntry(const ACE_CString& systemId, XmlInputSource& source);
  // Sets the entry for systemId to source, owned when owns is set.
  void addEntry(const ACE_CString& systemId, XmlInputSource* source, bool owns);
  // The entry's source, or null.
  XmlInputSource* entry(const ACE_CString& systemId) const;
  unsigned int nbEntries() const;

 private:
  struct Entry {
    XmlInputSource* source;
    bool owns;
  };
  std::map<ACE_CString, Entry> entries_;
};

// XmlEntityResolver: answers the parser's requests for external entities from a
// directory. An id the directory lacks throws XmlException::SystemError
// "XmlEntityResolver::resolveEntity: Invalid URI specified <id>", which ends the parse;
// an entry already used gives null, and the parser then resolves the id itself.
class CORVANE_XML_API XmlEntityResolver : public xercesc::EntityResolver {
 public:
  explicit XmlEntityResolver(const XmlEntityDirectory* directory);
  ~XmlEntityResolver() override;
  xercesc::InputSource* resolveEntity(const XMLCh* const publicId,
                                      const XMLCh* const systemId) override;

 private:
  const XmlEntityDirectory* directory_;
};

// XmlParser: one SAX parser at its default options. Parse errors go to the installed
// error handler; with none, the parser's own exceptions pass out of parse, parseFirst and
// parseNext.
class CORVANE_XML_API XmlParser {
 public:
  XmlParser();
  XmlParser(const XmlParser&) = delete;
  XmlParser& operator=(const XmlParser&) = delete;
  ~XmlParser();

  void setDocumentHandler(xercesc::HandlerBase& handler);
  void setErrorHandler(xercesc::HandlerBase& handler);
  void setEntityResolver(XmlEntityResolver& resolver);

  // Parses the document the parser opens itself from systemId (a path or URL).
  void parse(const ACE_CString& systemId);
  // Parses the handle's input source; a handle whose source was orphaned throws
  // std::logic_error.
  void parse(const XmlInputSource& source);
  // Parses length bytes in place (not copied; they must outlive the call), under the
  // system id "Memory Buffer".
  void parse(const unsigned char* bytes, unsigned long length);
  // Starts a progressive parse of the handle's source, which must outlive it; true when
  // the start succeeded.
  bool parseFirst(const XmlInputSource& source);
  // Scans the next piece: true while there is more, false at the end, after an error, or
  // when no parseFirst was made.
  bool parseNext();

 private:
  xercesc::SAXParser* parser_;
  xercesc::XMLPScanToken* token_;
};

// XmlBaseBuilder: the base of document receivers; the callbacks do nothing here.
// Character data arrives in as many value() calls as the parser makes chunks, white space
// between elements included. A builder may build several times; after an incomplete parse
// every build() throws until Set() is called.
class CORVANE_XML_API XmlBaseBuilder {
 public:
  // No input: Set() must be called before build().
  XmlBaseBuilder();
  // input and directory (may be null) are not owned and must outlive build().
  XmlBaseBuilder(XmlInputSource& input, const XmlEntityDirectory* directory);
  XmlBaseBuilder(const XmlBaseBuilder&) = delete;
  XmlBaseBuilder& operator=(const XmlBaseBuilder&) = delete;
  virtual ~XmlBaseBuilder();

  // Parses the input, calling the callbacks in document order. Throws
  // XmlException::ParserError "XmlBaseBuilder::build: Parsing is incomplete." after a
  // fatal parse error, ParserError with the parser's message when the parser throws its
  // SAX exception, XmlException::SystemError for an entity the directory lacks; other
  // exceptions, those of the callbacks included, pass unchanged. Without input,
  // std::logic_error.
  virtual void build();
  // A chunk of character data, zero-terminated UTF-16.
  virtual void value(const XMLCh* const text);
  // A start tag: the name in UTF-16, the attributes in document order as narrow texts of
  // type "CDATA".
  virtual void startElement(const XMLCh* const name, const XmlAttributes& attributes);
  virtual void endElement(const XMLCh* const name);

  // As build(), over length bytes (system id "Memory Buffer") instead of the input.
  void build(const unsigned char* bytes, unsigned long length);
  // Replaces input and directory and clears the incomplete flag.
  void Set(XmlInputSource& input, const XmlEntityDirectory* directory);
  bool isParsingIncomplete() const;
  void parsingIncomplete();

 private:
  template <class Parse>
  void run(Parse parse);

  bool incomplete_;
  XmlInputSource* input_;
  const XmlEntityDirectory* directory_;
};

#endif  // CORVANE_XML_SAX_XMLPARSER_H
