// xml/dom/xmldocument.cpp: XmlDocument: loading, saving, printing, creating nodes and
// validating whole documents with libxml2.
#include "xml/dom/xmldocument.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <strings.h>
#include <memory>
#include <new>
#include <string>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlschemas.h>

#include "xml/dom/detail/engine.h"
#include "xml/xmlexception.h"

using corvane_xml_detail::DomDocument;
using corvane_xml_detail::DomValidation;
namespace dom = corvane_xml_detail::dom;

namespace {

// Parser settings: no network, no DTD loading, no entity substitution, no validation
// while parsing; errors are captured per parse instead of printed.
constexpr int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
// Text handed to LoadXml is already decoded: an encoding its declaration names is moot.
constexpr int kTextParseOptions = kParseOptions | XML_PARSE_IGNORE_ENC;

void retain(DomDocument* d) {
  if (d != nullptr) ++d->count;
}

void release(DomDocument* d) {
  if (d != nullptr && --d->count == 0) {
    dom::releaseDocument(d->doc);
    delete d;
  }
}

void retain(DomValidation* v) {
  if (v != nullptr) ++v->count;
}

void release(DomValidation* v) {
  if (v != nullptr && --v->count == 0) delete v;
}

// Makes doc (with a DocRef) the shared document's tree, dropping the previous one.
void replaceTree(DomDocument* d, xmlDocPtr doc) {
  dom::retainDocument(doc);
  xmlDocPtr old = d->doc;
  d->doc = doc;
  dom::releaseDocument(old);
}

// Empties the shared document after a failed load, as the engine leaves it.
void clearTree(DomDocument* d) {
  xmlDocPtr doc = dom::newDocument();
  if (doc == nullptr) dom::raise(XmlDomError::OutOfMemory, "Out of memory");
  replaceTree(d, doc);
}

// One parse with its own parser context; errors go to errors, never to libxml2's global
// handlers (the context's _private leads the handler to them).
class Parse {
 public:
  Parse() : ctxt_(xmlNewParserCtxt()) {
    if (ctxt_ == nullptr) dom::raise(XmlDomError::OutOfMemory, "Out of memory");
    ctxt_->_private = &errors_;
    ctxt_->sax->serror = &Parse::onError;
  }
  ~Parse() { xmlFreeParserCtxt(ctxt_); }
  Parse(const Parse&) = delete;
  Parse& operator=(const Parse&) = delete;

  xmlDocPtr memory(const char* data, std::size_t size) {
    if (size > INT_MAX) dom::raise(XmlDomError::InvalidArgument, "The text is too long for the parser");
    return finish(xmlCtxtReadMemory(ctxt_, data, static_cast<int>(size), nullptr, nullptr, kTextParseOptions));
  }
  xmlDocPtr file(const char* path) {
    // The options must be set before the file is opened: xmlCtxtReadFile applies its own
    // only after loading the document itself.
    xmlCtxtUseOptions(ctxt_, kParseOptions);
    return finish(xmlCtxtReadFile(ctxt_, path, nullptr, kParseOptions));
  }

  const dom::ErrorCapture& errors() const { return errors_; }

 private:
  static void onError(void* ctxt, xmlErrorPtr error) {
    dom::captureError(static_cast<xmlParserCtxtPtr>(ctxt)->_private, error);
  }

  // A document with an undeclared namespace prefix parsed, but is not namespace
  // well-formed: refused like any other error.
  xmlDocPtr finish(xmlDocPtr doc) {
    if (doc != nullptr && ctxt_->nsWellFormed == 0) {
      xmlFreeDoc(doc);
      return nullptr;
    }
    if (doc != nullptr && !dom::adoptDocument(doc)) {
      xmlFreeDoc(doc);
      dom::raise(XmlDomError::OutOfMemory, "Out of memory");
    }
    return doc;
  }

  xmlParserCtxtPtr ctxt_;
  dom::ErrorCapture errors_;
};

void checkName(const dom::EngineText& name, const char* original) {
  if (xmlValidateQName(name.get(), 0) != 0) {
    dom::raise(XmlDomError::Fail, std::string("\"") + original + "\" is not a valid XML name");
  }
}

// Writes size bytes to the file at path; false when it cannot be written whole.
bool writeFile(const char* path, const void* data, std::size_t size) {
  std::FILE* f = std::fopen(path, "wb");
  if (f == nullptr) return false;
  const bool written = std::fwrite(data, 1, size, f) == size;
  return std::fclose(f) == 0 && written;
}

struct SchemaParserFree {
  void operator()(xmlSchemaParserCtxtPtr p) const { xmlSchemaFreeParserCtxt(p); }
};
struct SchemaFree {
  void operator()(xmlSchemaPtr p) const { xmlSchemaFree(p); }
};
struct SchemaValidFree {
  void operator()(xmlSchemaValidCtxtPtr p) const { xmlSchemaFreeValidCtxt(p); }
};
struct DocFree {
  void operator()(xmlDocPtr p) const { xmlFreeDoc(p); }
};

}  // namespace

XmlDocument::XmlDocument() noexcept : document_(nullptr), validation_(nullptr) {}

XmlDocument::XmlDocument(const XmlDocument& other) noexcept
    : document_(other.document_), validation_(other.validation_) {
  retain(document_);
  retain(validation_);
}

XmlDocument::XmlDocument(XmlDocument&& other) noexcept
    : document_(other.document_), validation_(other.validation_) {
  other.document_ = nullptr;
  other.validation_ = nullptr;
}

XmlDocument& XmlDocument::operator=(const XmlDocument& other) noexcept {
  retain(other.document_);
  retain(other.validation_);
  release(validation_);
  release(document_);
  document_ = other.document_;
  validation_ = other.validation_;
  return *this;
}

XmlDocument& XmlDocument::operator=(XmlDocument&& other) noexcept {
  if (this != &other) {
    release(validation_);
    release(document_);
    document_ = other.document_;
    validation_ = other.validation_;
    other.document_ = nullptr;
    other.validation_ = nullptr;
  }
  return *this;
}

XmlDocument::~XmlDocument() {
  release(validation_);
  release(document_);
}

void XmlDocument::Initialize() {
  xmlDocPtr doc = dom::newDocument();
  DomDocument* d = doc != nullptr ? new (std::nothrow) DomDocument{1, doc} : nullptr;
  if (d == nullptr) {
    if (doc != nullptr) {
      dom::retainDocument(doc);
      dom::releaseDocument(doc);
    }
    dom::log(LM_DEBUG, __LINE__, "MSXML6 not available on host system. Reverting to MSXML3\n");
    dom::log(LM_ERROR, __LINE__, "Unable to create MSXML:: DOMDocument object\n");
    throw "Unable to create MSXML:: DOMDocument object";
  }
  dom::retainDocument(doc);
  document_ = d;
}

bool XmlDocument::Load(const char* location) {
  if (document_ == nullptr) Initialize();
  // Files only: a location with any other scheme is not read.
  if (location == nullptr || (std::strstr(location, "://") != nullptr && strncasecmp(location, "file://", 7) != 0)) {
    return false;
  }
  const dom::EngineText path(location);
  Parse parse;
  xmlDocPtr doc = parse.file(path.data());
  if (doc == nullptr) {
    clearTree(document_);
    return false;
  }
  replaceTree(document_, doc);
  return true;
}

bool XmlDocument::LoadXml(const char* text) { return LoadXml(text, 3); }

bool XmlDocument::LoadXml(const char* text, unsigned int codePage) {
  if (document_ == nullptr) Initialize();
  if (text == nullptr) return false;
  if (std::strncmp(text, "\xEF\xBB\xBF", 3) == 0) text += 3;
  // A code page the system cannot decode raises here, before the engine sees anything.
  std::string buffer;
  const char* data;
  std::size_t size;
  dom::decodeCodePage(text, codePage, buffer, data, size);
  try {
    Parse parse;
    xmlDocPtr doc = parse.memory(data, size);
    if (doc == nullptr) {
      const std::string& reason = parse.errors().message;
      if (!reason.empty()) {
        dom::log(LM_ERROR, __LINE__,
                 "Unable to parse xml file. Reason: " + dom::narrowString(reason.data(), reason.size()) + "\r\n");
      }
      clearTree(document_);
      return false;
    }
    replaceTree(document_, doc);
    return true;
  } catch (const XmlDomError& e) {
    dom::log(LM_ERROR, __LINE__, std::string("Failed to laod xml file. Reason: ") + e.what() + "\r\n");
    return false;
  }
}

bool XmlDocument::Save(const char* path) {
  if (document_ == nullptr) Initialize();
  if (path == nullptr) return false;
  xmlChar* text = nullptr;
  int size = 0;
  xmlDocDumpMemoryEnc(document_->doc, &text, &size, "UTF-8");
  const bool saved = text != nullptr && writeFile(dom::EngineText(path).data(), text, static_cast<std::size_t>(size));
  xmlFree(text);
  if (!saved) {
    dom::log(LM_ERROR, __LINE__, "Unable to save xml file");
    throw "Unable to save updated XML document";
  }
  return true;
}

ACE_CString XmlDocument::ToString() const {
  if (document_ == nullptr) return ACE_CString();
  const std::string text = dom::markup(reinterpret_cast<xmlNodePtr>(document_->doc));
  return dom::narrow(text.data(), text.size());
}

XmlNode XmlDocument::GetDocElementNode() const {
  if (document_ == nullptr) return XmlNode();
  return XmlNode(document_->doc->children);
}

XmlNode XmlDocument::GetElementByTagName(const char* expression) const {
  if (document_ == nullptr || expression == nullptr) return XmlNode();
  const std::vector<xmlNodePtr> nodes = dom::select(reinterpret_cast<xmlNodePtr>(document_->doc), expression);
  return nodes.empty() ? XmlNode() : XmlNode(nodes.front());
}

XmlNode XmlDocument::CreateNode(const char* name, const char* content) {
  if (document_ == nullptr) Initialize();
  if (name == nullptr) dom::raise(XmlDomError::InvalidArgument, "A node needs a name");
  xmlDocPtr doc = document_->doc;
  const dom::EngineText engineName(name);
  checkName(engineName, name);
  xmlNodePtr e = xmlNewDocNode(doc, nullptr, engineName.get(), nullptr);
  if (e == nullptr) dom::raise(XmlDomError::OutOfMemory, "Out of memory");
  XmlNode element(e);  // frees the element if anything below throws
  if (content == nullptr) content = "";
  if (content[0] == '<') {
    XmlDocument markup;
    markup.Initialize();
    markup.LoadXml(content);
    XmlNode first = markup.GetDocElementNode();
    element.AppendChild(first);
  } else if (content[0] != '\0') {
    const dom::EngineText text(content);
    xmlNodePtr t = xmlNewDocTextLen(doc, text.get(), static_cast<int>(text.size()));
    if (t == nullptr) {
      dom::log(LM_ERROR, __LINE__, "Could not add text to node. Reason: Out of memory\r\n");
    } else {
      xmlAddChild(e, t);  // the element's only child: nothing to merge with
    }
  }
  return element;
}

XmlNode XmlDocument::CreateAttribute(const char* name, const char* value) {
  if (document_ == nullptr) Initialize();
  if (name == nullptr || value == nullptr) return XmlNode();
  xmlDocPtr doc = document_->doc;
  const dom::EngineText engineName(name);
  checkName(engineName, name);
  // The value is set as a text child: xmlNewDocProp would read entity references in it.
  xmlAttrPtr a = xmlNewDocProp(doc, engineName.get(), nullptr);
  if (a == nullptr) dom::raise(XmlDomError::OutOfMemory, "Out of memory");
  XmlNode attribute(reinterpret_cast<xmlNodePtr>(a));
  if (value[0] != '\0') {
    const dom::EngineText text(value);
    xmlNodePtr t = xmlNewDocTextLen(doc, text.get(), static_cast<int>(text.size()));
    if (t == nullptr) dom::raise(XmlDomError::OutOfMemory, "Out of memory");
    t->parent = reinterpret_cast<xmlNodePtr>(a);
    a->children = t;
    a->last = t;
  }
  return attribute;
}

bool XmlDocument::Validate(XmlDocument schema) {
  if (schema.document_ == nullptr) return false;
  // The schema compiler may rewrite the tree it reads; it reads a copy, so the caller's
  // schema document stays as it is.
  std::unique_ptr<xmlDoc, DocFree> schemaCopy(xmlCopyDoc(schema.document_->doc, 1));
  std::unique_ptr<xmlSchemaParserCtxt, SchemaParserFree> parser(
      schemaCopy != nullptr ? xmlSchemaNewDocParserCtxt(schemaCopy.get()) : nullptr);
  if (parser == nullptr) {
    dom::log(LM_ERROR, __LINE__, "Could not instantiate IXMLDOMSchemaCollectionPtr");
    throw XmlException::ValidatorMissingException(ACE_CString("XMLSchemaCache60 validator missing"));
  }
  dom::ErrorCapture schemaErrors;  // why a schema does not compile is not reported
  xmlSchemaSetParserStructuredErrors(parser.get(), dom::captureError, &schemaErrors);
  std::unique_ptr<xmlSchema, SchemaFree> compiled(xmlSchemaParse(parser.get()));
  if (compiled == nullptr) return false;
  if (document_ == nullptr) dom::raiseInvalidPointer();
  std::unique_ptr<xmlSchemaValidCtxt, SchemaValidFree> validator(xmlSchemaNewValidCtxt(compiled.get()));
  if (validator == nullptr) dom::raise(XmlDomError::OutOfMemory, "Out of memory");
  dom::ErrorCapture errors;
  xmlSchemaSetValidStructuredErrors(validator.get(), dom::captureError, &errors);
  const int outcome = xmlSchemaValidateDoc(validator.get(), document_->doc);

  DomValidation* result = new DomValidation{1, 0, std::string()};
  if (outcome != 0) {
    // The first error found; an internal failure without one still fails.
    result->code = errors.seen && errors.code > 0 ? -static_cast<long>(errors.code)
                   : outcome > 0                  ? -static_cast<long>(outcome)
                                                  : -1L;
    result->reason = dom::narrowString(errors.message.data(), errors.message.size());
  }
  release(validation_);
  validation_ = result;
  return result->code == 0;
}

ACE_CString XmlDocument::GetValidationError() const {
  if (validation_ == nullptr || validation_->code == 0) return ACE_CString();
  const std::string text =
      "Error code: " + std::to_string(validation_->code) + "\nReason: " + validation_->reason;
  return ACE_CString(text.data(), text.size());
}
