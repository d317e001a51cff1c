// xml/sax/xmlparser.cpp: input sources, entity directory and resolver, parser driver,
// builder base, and the SAX handler that turns parser events into builder callbacks.
#include "xml/sax/xmlparser.h"

#include <climits>
#include <string>
#include <stdexcept>
#include <vector>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLPScanToken.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "xml/detail/attributesaccess.h"
#include "xml/detail/charsets.h"
#include "xml/detail/log.h"
#include "xml/sax/detail/xmlhandler.h"
#include "xml/xmlexception.h"

using corvane_xml_detail::logField;
using corvane_xml_detail::AttributesAccess;
using corvane_xml_detail::logText;

// ---------------------------------------------------------------------------------
// Input sources

InputBinStream::InputBinStream(InputStream& stream) : stream_(stream) {}
InputBinStream::~InputBinStream() = default;

XMLFilePos InputBinStream::curPos() const { return stream_.CurPos(); }

XMLSize_t InputBinStream::readBytes(XMLByte* const buffer, const XMLSize_t count) {
  const unsigned int n = count > UINT_MAX ? UINT_MAX : static_cast<unsigned int>(count);
  return stream_.ReadBytes(buffer, n);
}

const XMLCh* InputBinStream::getContentType() const { return nullptr; }

SaxInputSource::SaxInputSource(InputStream* stream, const ACE_CString& name)
    : xercesc::InputSource(xercesc::XMLPlatformUtils::fgMemoryManager), stream_(stream) {
  if (name.length() > 0) {
    // Each byte becomes the UTF-16 unit of the same value, whatever the process locale.
    std::vector<XMLCh> id(name.length() + 1, 0);
    for (std::size_t i = 0; i < name.length(); ++i) {
      id[i] = static_cast<unsigned char>(name.fast_rep()[i]);
    }
    setSystemId(id.data());
  }
}

SaxInputSource::~SaxInputSource() = default;

xercesc::BinInputStream* SaxInputSource::makeStream() const {
  return new (getMemoryManager()) InputBinStream(*stream_);
}

XmlInputSource::XmlInputSource()
    : stream_(new InputMemStream("")), source_(nullptr), ownsStream_(true) {
  source_ = new SaxInputSource(stream_, ACE_CString());
}

XmlInputSource::XmlInputSource(InputStream& stream, const ACE_CString& name)
    : stream_(&stream), source_(new SaxInputSource(&stream, name)), ownsStream_(false) {}

XmlInputSource::XmlInputSource(InputStream* stream, const ACE_CString& name, bool ownsStream)
    : stream_(stream), source_(nullptr), ownsStream_(ownsStream) {
  try {
    source_ = new SaxInputSource(stream, name);
  } catch (...) {
    if (ownsStream_) delete stream_;
    throw;
  }
}

XmlInputSource::~XmlInputSource() {
  if (ownsStream_ && stream_ != nullptr) delete stream_;
  delete source_;
}

const xercesc::InputSource* XmlInputSource::GetSource() const { return source_; }

xercesc::InputSource* XmlInputSource::OrphanSource() {
  xercesc::InputSource* source = source_;
  source_ = nullptr;
  return source;
}

void XmlInputSource::Set(InputStream* stream, const ACE_CString& name, bool ownsStream) {
  if (ownsStream_ && stream_ != nullptr) delete stream_;
  stream_ = stream;
  ownsStream_ = ownsStream;
  SaxInputSource* previous = source_;
  source_ = new SaxInputSource(stream, name);
  delete previous;
}

// ---------------------------------------------------------------------------------
// Entities

XmlEntityDirectory::XmlEntityDirectory() = default;

XmlEntityDirectory::~XmlEntityDirectory() {
  for (auto& e : entries_) {
    if (e.second.owns && e.second.source != nullptr) delete e.second.source;
  }
}

void XmlEntityDirectory::addEntry(const ACE_CString& systemId, XmlInputSource& source) {
  entries_[systemId] = Entry{&source, false};
}

void XmlEntityDirectory::addEntry(const ACE_CString& systemId, XmlInputSource* source, bool owns) {
  entries_[systemId] = Entry{source, owns};
}

XmlInputSource* XmlEntityDirectory::entry(const ACE_CString& systemId) const {
  const auto it = entries_.find(systemId);
  return it == entries_.end() ? nullptr : it->second.source;
}

unsigned int XmlEntityDirectory::nbEntries() const { return static_cast<unsigned int>(entries_.size()); }

XmlEntityResolver::XmlEntityResolver(const XmlEntityDirectory* directory) : directory_(directory) {}
XmlEntityResolver::~XmlEntityResolver() = default;

xercesc::InputSource* XmlEntityResolver::resolveEntity(const XMLCh* const /*publicId*/,
                                                       const XMLCh* const systemId) {
  ACE_CString id;
  if (systemId != nullptr) corvane_xml_detail::wideToAnsi(systemId, id);
  XmlInputSource* source = directory_ != nullptr ? directory_->entry(id) : nullptr;
  if (source == nullptr) {
    ACE_CString message("XmlEntityResolver::resolveEntity: Invalid URI specified ");
    message += id;
    throw XmlException::SystemError(message);
  }
  return source->OrphanSource();
}

// ---------------------------------------------------------------------------------
// Parser driver

XmlParser::XmlParser() : parser_(new xercesc::SAXParser()), token_(nullptr) {}

XmlParser::~XmlParser() {
  delete token_;
  delete parser_;
}

void XmlParser::setDocumentHandler(xercesc::HandlerBase& handler) { parser_->setDocumentHandler(&handler); }
void XmlParser::setErrorHandler(xercesc::HandlerBase& handler) { parser_->setErrorHandler(&handler); }
void XmlParser::setEntityResolver(XmlEntityResolver& resolver) { parser_->setEntityResolver(&resolver); }

void XmlParser::parse(const ACE_CString& systemId) { parser_->parse(systemId.c_str()); }

namespace {

const xercesc::InputSource& sourceOf(const XmlInputSource& handle) {
  const xercesc::InputSource* source = handle.GetSource();
  if (source == nullptr) throw std::logic_error("XmlParser: the input source was given away");
  return *source;
}

}  // namespace

void XmlParser::parse(const XmlInputSource& source) { parser_->parse(sourceOf(source)); }

void XmlParser::parse(const unsigned char* bytes, unsigned long length) {
  const xercesc::MemBufInputSource source(bytes, length, "Memory Buffer", false);
  parser_->parse(source);
}

namespace {

// One step of a progressive parse. Once the parse is over (the step gave false or threw)
// the scanner has let go of its input, and scanning again with the same token crashes or
// throws inside the parser: the token is dropped, so that parseNext answers false until
// the next parseFirst.
template <class Scan>
bool progress(xercesc::XMLPScanToken*& token, Scan scan) {
  bool more = false;
  try {
    more = scan();
  } catch (...) {
    delete token;
    token = nullptr;
    throw;
  }
  if (!more) {
    delete token;
    token = nullptr;
  }
  return more;
}

}  // namespace

bool XmlParser::parseFirst(const XmlInputSource& source) {
  const xercesc::InputSource& input = sourceOf(source);
  if (token_ == nullptr) token_ = new xercesc::XMLPScanToken();
  return progress(token_, [&] { return parser_->parseFirst(input, *token_); });
}

bool XmlParser::parseNext() {
  return token_ != nullptr && progress(token_, [this] { return parser_->parseNext(*token_); });
}

// ---------------------------------------------------------------------------------
// The SAX handler

namespace {

// The list every start tag without attributes gets: made once, never changed.
const XmlAttributes& noAttributes() {
  static const XmlAttributes empty;
  return empty;
}

// "<system id>, line <n>, col <n>. Message: <message>.\n": the end of the handler's
// warning, error and located fatal error lines.
std::string where(const xercesc::SAXParseException& e) {
  return logField(e.getSystemId()) + ", line " + std::to_string(e.getLineNumber()) + ", col " +
         std::to_string(e.getColumnNumber()) + ". Message: " + logField(e.getMessage()) + ".\n";
}

}  // namespace

namespace corvane_xml_detail {

XmlHandler::XmlHandler(XmlBaseBuilder& builder) : builder_(builder) {}
XmlHandler::~XmlHandler() = default;

void XmlHandler::startDocument() {}
void XmlHandler::endDocument() {}

void XmlHandler::startElement(const XMLCh* const name, xercesc::AttributeList& attributes) {
  if (attributes.getLength() == 0) {
    builder_.startElement(name, noAttributes());
    return;
  }
  // One list serves every start tag of the parse: it is refilled in place, reusing its
  // strings' buffers, which a builder cannot tell from a new list.
  AttributesAccess::clear(attributes_);
  for (XMLSize_t i = 0; i < attributes.getLength(); ++i) {
    AttributesAccess::pushWide(attributes_, attributes.getName(i), attributes.getValue(i));
  }
  builder_.startElement(name, attributes_);
}

void XmlHandler::characters(const XMLCh* const chars, const XMLSize_t /*length*/) {
  builder_.value(chars);
}

void XmlHandler::endElement(const XMLCh* const name) { builder_.endElement(name); }

void XmlHandler::warning(const xercesc::SAXParseException& e) {
  logText(LM_WARNING, __LINE__, 2776, "XmlHandler::warning: Warning in file " + where(e));
}

void XmlHandler::error(const xercesc::SAXParseException& e) {
  logText(LM_WARNING, __LINE__, 2716, "XmlHandler::error: Error in file " + where(e));
}

void XmlHandler::fatalError(const xercesc::SAXParseException& e) {
  const bool hasMessage = e.getMessage() != nullptr && *e.getMessage() != 0;
  const bool hasSystemId = e.getSystemId() != nullptr && *e.getSystemId() != 0;
  if (hasMessage && e.getLineNumber() != 0 && e.getColumnNumber() != 0 && hasSystemId) {
    logText(LM_ERROR, __LINE__, 2775,
            "XmlHandler::fatalError: Fatal Error (Parsing Incomplete) in file " + where(e));
  } else if (hasMessage) {
    logText(LM_ERROR, __LINE__, 2775,
            "XmlHandler::fatalError: Fatal Error (Parsing Incomplete). Message: " +
                logField(e.getMessage()) + ".\n");
  } else {
    logText(LM_ERROR, __LINE__, 2775, "XmlHandler::fatalError: Fatal Error (Parsing Incomplete).\n");
  }
  builder_.parsingIncomplete();
}

void runParse(XmlBaseBuilder& builder, xercesc::HandlerBase& handler,
              const XmlEntityDirectory* directory, const std::function<void(XmlParser&)>& parse) {
  try {
    XmlParser parser;
    parser.setDocumentHandler(handler);
    parser.setErrorHandler(handler);
    XmlEntityResolver resolver(directory);
    if (directory != nullptr) parser.setEntityResolver(resolver);
    parse(parser);
    if (builder.isParsingIncomplete()) {
      throw XmlException::ParserError(ACE_CString("XmlBaseBuilder::build: Parsing is incomplete."));
    }
  } catch (const xercesc::SAXException& e) {
    logText(LM_ERROR, __LINE__, 2788,
            "XmlBaseBuilder::build: Sax parser error: " + logField(e.getMessage()) + ".\n");
    throw XmlException::ParserError(e.getMessage());
  }
}

}  // namespace corvane_xml_detail

// ---------------------------------------------------------------------------------
// Builder base

XmlBaseBuilder::XmlBaseBuilder() : incomplete_(false), input_(nullptr), directory_(nullptr) {}

XmlBaseBuilder::XmlBaseBuilder(XmlInputSource& input, const XmlEntityDirectory* directory)
    : incomplete_(false), input_(&input), directory_(directory) {}

XmlBaseBuilder::~XmlBaseBuilder() = default;

void XmlBaseBuilder::value(const XMLCh* const) {}
void XmlBaseBuilder::startElement(const XMLCh* const, const XmlAttributes&) {}
void XmlBaseBuilder::endElement(const XMLCh* const) {}

void XmlBaseBuilder::Set(XmlInputSource& input, const XmlEntityDirectory* directory) {
  input_ = &input;
  directory_ = directory;
  incomplete_ = false;
}

bool XmlBaseBuilder::isParsingIncomplete() const { return incomplete_; }
void XmlBaseBuilder::parsingIncomplete() { incomplete_ = true; }

template <class Parse>
void XmlBaseBuilder::run(Parse parse) {
  corvane_xml_detail::XmlHandler handler(*this);
  corvane_xml_detail::runParse(*this, handler, directory_, parse);
}

void XmlBaseBuilder::build() {
  if (input_ == nullptr) throw std::logic_error("XmlBaseBuilder::build: no input set");
  XmlInputSource& input = *input_;
  run([&input](XmlParser& parser) { parser.parse(input); });
}

void XmlBaseBuilder::build(const unsigned char* bytes, unsigned long length) {
  run([bytes, length](XmlParser& parser) { parser.parse(bytes, length); });
}
