// xml/sax/xmlparser.cpp: input sources, entity directory and resolver, parser driver,
// builder base, and the SAX handler that turns parser events into builder callbacks.
#include "xml/sax/xmlparser.h"

#include <climits>
#include <cstddef>
#include <string>
#include <stdexcept>
#include <unordered_map>
#include <vector>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLEntityDecl.hpp>
#include <xercesc/framework/XMLPScanToken.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/sax/DTDHandler.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

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
// Entity expansion limit

namespace {

//
// At its defaults the parser expands internal entities without any limit: a document of
// a few hundred bytes whose entities each name the previous one ten times ("billion
// laughs") makes it produce gigabytes of text, for hours. No parser option is changed
// to stop that; instead the parser the library makes watches the entity declarations
// and the entity references in content, and ends the parse with
// XmlException::ParserError as soon as
// - one internal entity would expand to more than kMaxEntityExpansion characters, or
// - the entity references in a document's content together would.
// Every entity reference inside an expansion counts as one character more, so that
// nesting references to empty or external entities is bounded too. References in
// attribute values are expanded by the parser before anything is reported; each of
// them is bounded by the first rule.

constexpr std::size_t kMaxEntityExpansion = 100000;

class EntityBudget {
 public:
  void reset() {
    names_.clear();
    entities_.clear();
    stale_ = false;
    open_.clear();
    total_ = 0;
  }

  // An internal general entity's declaration: its replacement text, whose general
  // entity references are still unexpanded (character references were replaced).
  void declare(const XMLCh* name, const XMLCh* value, std::size_t length) {
    const std::size_t id = intern(name);
    if (entities_[id].declared) return;  // the first declaration binds
    if (entities_[id].referred) stale_ = true;  // earlier expansions counted it as empty
    Entity entity;
    entity.declared = true;
    entity.referred = entities_[id].referred;
    for (std::size_t i = 0; i < length; ++i) {
      if (value[i] != u'&') {
        ++entity.literal;
        continue;
      }
      std::size_t end = i + 1;
      while (end < length && value[end] != u';') ++end;
      const std::u16string ref(value + i + 1, value + end);
      if (!ref.empty() && ref[0] != u'#' && !predefined(ref)) {
        const std::size_t target = intern(ref.c_str());
        entities_[target].referred = true;
        entity.refs.push_back(target);
      } else {
        ++entity.literal;  // a character reference or a predefined entity: one character
      }
      i = end;
    }
    // The entities it names are either measured already or not declared yet, and then
    // count as empty until settle() measures again.
    entity.size = entity.literal;
    for (const std::size_t ref : entity.refs) entity.size = add(entity.size, 1 + sizeOf(ref));
    entities_[id] = std::move(entity);
    if (entities_[id].size > kMaxEntityExpansion) refuse(name);
  }

  // Measures every entity again when one was declared after another named it: called
  // before anything expands entities (attribute defaults, content).
  void settle() {
    if (!stale_) return;
    stale_ = false;
    // Depth-first, with its own stack; a cycle (which the parser refuses when it
    // expands it) counts as empty.
    enum { kNew, kOpen, kDone };
    std::vector<char> state(entities_.size(), kNew);
    std::vector<std::pair<std::size_t, std::size_t>> stack;  // entity, next reference
    for (std::size_t root = 0; root < entities_.size(); ++root) {
      if (!entities_[root].declared || state[root] != kNew) continue;
      stack.push_back({root, 0});
      state[root] = kOpen;
      entities_[root].size = entities_[root].literal;
      while (!stack.empty()) {
        auto& [id, next] = stack.back();
        Entity& entity = entities_[id];
        if (next < entity.refs.size()) {
          const std::size_t ref = entity.refs[next++];
          if (entities_[ref].declared && state[ref] == kNew) {
            state[ref] = kOpen;
            entities_[ref].size = entities_[ref].literal;
            stack.push_back({ref, 0});
          } else {
            entity.size = add(entity.size, 1 + (state[ref] == kDone ? entities_[ref].size : 0));
          }
          continue;
        }
        state[id] = kDone;
        const std::size_t done = id;
        stack.pop_back();
        if (entities_[done].size > kMaxEntityExpansion) refuse(nameOf(done));
        if (!stack.empty()) {
          Entity& parent = entities_[stack.back().first];
          parent.size = add(parent.size, 1 + entities_[done].size);
        }
      }
    }
  }

  // A reference in content. References within an internal entity's expansion are
  // reported too but are counted in its size already; those in an external entity's
  // text (read from a stream, not measured) are counted one by one.
  void enter(const XMLCh* name, bool external) {
    settle();
    const bool counted = open_.empty() || !open_.back();
    open_.push_back(!external);
    if (!counted) return;
    const auto it = names_.find(name);
    const std::size_t size = it == names_.end() ? 0 : sizeOf(it->second);
    total_ = add(total_, 1 + size);
    if (total_ > kMaxEntityExpansion) {
      refuse("XmlParser: the entity references of the document expand to more than " +
             std::to_string(kMaxEntityExpansion) + " characters.");
    }
  }

  void leave() {
    if (!open_.empty()) open_.pop_back();
  }

 private:
  struct Entity {
    bool declared = false;
    bool referred = false;  // named in an entity declared before it
    std::size_t literal = 0;
    std::vector<std::size_t> refs;
    std::size_t size = 0;  // expanded, at most kMaxEntityExpansion + 1
  };

  static std::size_t add(std::size_t a, std::size_t b) {
    return a + b > kMaxEntityExpansion ? kMaxEntityExpansion + 1 : a + b;
  }

  static bool predefined(const std::u16string& name) {
    return name == u"lt" || name == u"gt" || name == u"amp" || name == u"apos" || name == u"quot";
  }

  std::size_t intern(const XMLCh* name) {
    const auto inserted = names_.emplace(name, entities_.size());
    if (inserted.second) entities_.emplace_back();
    return inserted.first->second;
  }

  std::size_t sizeOf(std::size_t id) const { return entities_[id].declared ? entities_[id].size : 0; }

  const XMLCh* nameOf(std::size_t id) const {
    for (const auto& n : names_) {
      if (n.second == id) return n.first.c_str();
    }
    return u"";
  }

  [[noreturn]] static void refuse(const XMLCh* name) {
    refuse("XmlParser: the entity " + logField(name) + " expands to more than " +
           std::to_string(kMaxEntityExpansion) + " characters.");
  }

  [[noreturn]] static void refuse(const std::string& message) {
    logText(LM_ERROR, __LINE__, -1, message + "\n");
    throw XmlException::ParserError(ACE_CString(message.c_str()));
  }

  std::unordered_map<std::u16string, std::size_t> names_;
  std::vector<Entity> entities_;
  bool stale_ = false;
  std::vector<bool> open_;  // the references being expanded, innermost last: internal?
  std::size_t total_ = 0;
};

// Takes the SAX DTD events the parser reports only while a DTD handler is installed,
// and does nothing with them.
class NoDtdEvents : public xercesc::DTDHandler {
 public:
  void notationDecl(const XMLCh* const, const XMLCh* const, const XMLCh* const) override {}
  void unparsedEntityDecl(const XMLCh* const, const XMLCh* const, const XMLCh* const,
                          const XMLCh* const) override {}
  void resetDocType() override {}
};

// The SAX parser with the entity budget: the parser's own document-type and document
// callbacks, which it makes whatever handlers are installed, are watched and passed on.
// The parser reports declarations only while it has a DTD handler, hence NoDtdEvents.
class BudgetedSaxParser : public xercesc::SAXParser {
 public:
  BudgetedSaxParser() { setDTDHandler(&noDtdEvents_); }

  void resetDocument() override {
    budget_.reset();
    SAXParser::resetDocument();
  }
  void entityDecl(const xercesc::DTDEntityDecl& decl, const bool isPEDecl, const bool isIgnored) override {
    if (!isPEDecl && !isIgnored && !decl.isExternal() && decl.getValue() != nullptr) {
      budget_.declare(decl.getName(), decl.getValue(), decl.getValueLen());
    }
    SAXParser::entityDecl(decl, isPEDecl, isIgnored);
  }
  void startAttList(const xercesc::DTDElementDecl& decl) override {
    budget_.settle();
    SAXParser::startAttList(decl);
  }
  void endIntSubset() override {
    budget_.settle();
    SAXParser::endIntSubset();
  }
  void endExtSubset() override {
    budget_.settle();
    SAXParser::endExtSubset();
  }
  void startEntityReference(const xercesc::XMLEntityDecl& decl) override {
    budget_.enter(decl.getName(), decl.isExternal());
    SAXParser::startEntityReference(decl);
  }
  void endEntityReference(const xercesc::XMLEntityDecl& decl) override {
    budget_.leave();
    SAXParser::endEntityReference(decl);
  }

 private:
  NoDtdEvents noDtdEvents_;
  EntityBudget budget_;
};

}  // namespace

// ---------------------------------------------------------------------------------
// Parser driver

XmlParser::XmlParser() : parser_(new BudgetedSaxParser()), token_(nullptr) {}

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
