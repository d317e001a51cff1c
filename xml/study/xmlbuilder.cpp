// xml/study/xmlbuilder.cpp: the study document builder and its SAX handler.
//
// The handler reads Xerces' attribute list in place: each tagged value is classified in
// one pass over its attributes, and only the values a callback receives are converted,
// once, straight into the type the callback takes.
#include "xml/study/xmlbuilder.h"

#include <cstdint>
#include <cstdio>
#include <string>

#include <ace/Log_Msg.h>
#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>

#include "xml/detail/charsets.h"
#include "xml/detail/log.h"
#include "xml/xmlexception.h"

using corvane_xml_detail::logField;
using corvane_xml_detail::logText;
using corvane_xml_detail::wideToAnsi;

// ---------------------------------------------------------------------------------
// XmlBuilder

XmlBuilder::XmlBuilder(XmlInputSource& input, Xml::Type (*getType)(unsigned long),
                       const XmlEntityDirectory* directory)
    : input_(input), directory_(directory), getType_(getType), incomplete_(false) {}

XmlBuilder::~XmlBuilder() = default;

constexpr long XmlBuilder::MaxValueCount;

void XmlBuilder::build() {
  if (getType_ == nullptr) {
    throw XmlException::SystemError(ACE_CString("XmlBuilder::build InvalidGetCallback"));
  }
  XmlStudyHandler handler(this);
  XmlEntityResolver resolver(directory_);
  XmlParser parser;
  parser.setDocumentHandler(handler);
  parser.setErrorHandler(handler);
  if (directory_ != nullptr) parser.setEntityResolver(resolver);
  try {
    parser.parse(input_);
  } catch (const xercesc::SAXException& e) {
    logText(LM_CRITICAL, __LINE__, 0, "XmlBuilder: Sax parser error.\n");
    throw XmlException::ParserError(e.getMessage());
  }
  if (incomplete_) throw XmlException::ParserError(ACE_CString("Parsing was incomplete"));
}

void XmlBuilder::studyDocVersion(const ACE_CString&) {}
void XmlBuilder::startStudy(const ACE_CString&, unsigned long) {}
void XmlBuilder::startSeries(const ACE_CString&, unsigned long) {}
void XmlBuilder::startImageTemplate(unsigned long) {}
void XmlBuilder::endImageTemplate() {}
void XmlBuilder::startImageDelta(const ACE_CString&) {}
void XmlBuilder::endImageDelta() {}
void XmlBuilder::startStudyDelta(const XMLCh*, const ACE_CString&) {}
void XmlBuilder::startSeriesDelta(const ACE_CString&, const XMLCh*, const ACE_CString&) {}
void XmlBuilder::startElement(unsigned long, const std::vector<XMLCh*>&, const Xml::Operation&) {}
void XmlBuilder::startElement(unsigned long, const XMLCh*, const Xml::Operation&) {}
void XmlBuilder::startElement(unsigned long, const std::vector<float>&, const Xml::Operation&) {}
void XmlBuilder::startElement(unsigned long, float, const Xml::Operation&) {}
void XmlBuilder::startElement(unsigned long, const std::vector<unsigned long>&,
                              const Xml::Operation&) {}
void XmlBuilder::startElement(unsigned long, unsigned long, const Xml::Operation&) {}
void XmlBuilder::startElement(unsigned long, const std::vector<long>&, const Xml::Operation&) {}
void XmlBuilder::startElement(unsigned long, long, const Xml::Operation&) {}
void XmlBuilder::startElement(unsigned long, const std::vector<ACE_CString>&,
                              const Xml::Operation&) {}
void XmlBuilder::startElement(unsigned long, const ACE_CString&, const Xml::Operation&) {}
void XmlBuilder::startBinElement(unsigned long, const std::vector<ACE_CString>&,
                                 const Xml::Operation&) {}
void XmlBuilder::startBinElement(unsigned long, const ACE_CString&, const Xml::Operation&) {}
void XmlBuilder::startSequence(unsigned long, const Xml::Operation&) {}
void XmlBuilder::endSequence() {}
void XmlBuilder::startSequenceValue() {}
void XmlBuilder::endSequenceValue() {}

void XmlBuilder::entityDirectory(const XmlEntityDirectory* directory) { directory_ = directory; }
void XmlBuilder::getTypeCallback(Xml::Type (*getType)(unsigned long)) { getType_ = getType; }
Xml::Type (*XmlBuilder::getTypeCallback() const)(unsigned long) { return getType_; }
void XmlBuilder::parsingIncomplete() { incomplete_ = true; }
bool XmlBuilder::isParsingIncomplete() const { return incomplete_; }

// ---------------------------------------------------------------------------------
// XmlStudyHandler

namespace {

const XMLCh kEmpty[] = {0};

bool same(const XMLCh* a, const XMLCh* b) {
  while (*a == *b) {
    if (*a == 0) return true;
    ++a;
    ++b;
  }
  return false;
}

bool startsWithVal(const XMLCh* name) {
  return name[0] == u'v' && name[1] == u'a' && name[2] == u'l';
}

// The value of the named attribute, or null.
const XMLCh* attribute(xercesc::AttributeList& attributes, const XMLCh* name) {
  const XMLSize_t n = attributes.getLength();
  for (XMLSize_t i = 0; i < n; ++i) {
    if (same(attributes.getName(i), name)) return attributes.getValue(i);
  }
  return nullptr;
}

ACE_CString narrow(const XMLCh* text) {
  ACE_CString out;
  wideToAnsi(text, out);
  return out;
}

// The narrow text of text (null gives ""), in buffer.
const ACE_CString& narrow(const XMLCh* text, ACE_CString& buffer) {
  wideToAnsi(text, buffer);
  return buffer;
}

// A count attribute: xmlChToLong's value, kept as the 32-bit number it is.
unsigned long countOf(const XMLCh* text) {
  return static_cast<std::uint32_t>(XmlConversion::xmlChToLong(text));
}

// The value of each ASCII hexadecimal digit, -1 for every other character.
constexpr struct HexDigits {
  signed char value[128];
  constexpr HexDigits() : value() {
    for (int c = 0; c < 128; ++c) {
      value[c] = c >= '0' && c <= '9'   ? static_cast<signed char>(c - '0')
                 : c >= 'a' && c <= 'f' ? static_cast<signed char>(c - 'a' + 10)
                 : c >= 'A' && c <= 'F' ? static_cast<signed char>(c - 'A' + 10)
                                        : -1;
    }
  }
  constexpr int operator[](int c) const { return value[c]; }
} kHexDigit;

// "tag": hexadecimal digits after optional blanks and an optional "0x", up to the first
// other character, as an unsigned 32-bit number (saturating); no digits give 0.
unsigned long tagOf(const XMLCh* text) {
  if (text == nullptr) return 0;
  while (*text == u' ' || *text == u'\t' || *text == u'\r' || *text == u'\n') ++text;
  if (text[0] == u'0' && (text[1] == u'x' || text[1] == u'X')) text += 2;
  while (*text == u'0') ++text;  // leading zeros add nothing
  std::uint32_t value = 0;
  for (const XMLCh* p = text;; ++p) {
    const XMLCh c = *p;
    const int digit = c < 128 ? kHexDigit[c] : -1;
    if (digit < 0) break;
    // Eight significant digits fill 32 bits; a ninth saturates.
    if (p - text == 8) return UINT32_MAX;
    value = value * 16 + static_cast<unsigned>(digit);
  }
  return value;
}

Xml::Operation operationOf(const XMLCh* op) {
  return static_cast<Xml::Operation>(Xml::OpToWeight(op));
}

// The attributes of one tagged value ("element", "diff", "binary", "binDiff").
struct TaggedAttributes {
  const XMLCh* tag = nullptr;
  const XMLCh* count = nullptr;
  const XMLCh* op = nullptr;
  const XMLCh* val = nullptr;
  bool numbered = false;  // some attribute is named "val" and digits
};

// The number n of an attribute named "val<n>" with n written as a decimal without
// leading zeros, or 0 for any other name.
std::uint64_t valueNumber(const XMLCh* name) {
  if (!startsWithVal(name) || name[3] < u'1' || name[3] > u'9') return 0;
  std::uint64_t n = 0;
  for (const XMLCh* p = name + 3; *p != 0; ++p) {
    if (*p < u'0' || *p > u'9' || n > UINT32_MAX) return 0;
    n = n * 10 + (*p - u'0');
  }
  return n;
}

TaggedAttributes readTaggedAttributes(xercesc::AttributeList& attributes) {
  TaggedAttributes entry;
  const XMLSize_t n = attributes.getLength();
  for (XMLSize_t i = 0; i < n; ++i) {
    const XMLCh* name = attributes.getName(i);
    const XMLCh** slot = nullptr;
    switch (name[0]) {
      case u't':
        if (same(name, u"tag")) slot = &entry.tag;
        break;
      case u'n':
        if (same(name, u"nbE")) slot = &entry.count;
        break;
      case u'o':
        if (same(name, u"op")) slot = &entry.op;
        break;
      case u'v':
        if (startsWithVal(name)) {
          if (name[3] == 0) {
            slot = &entry.val;
          } else {
            entry.numbered = true;
          }
        }
        break;
      default:
        break;
    }
    // The first of two equal names counts, as a lookup by name would find it.
    if (slot != nullptr && *slot == nullptr) *slot = attributes.getValue(i);
  }
  return entry;
}

// The texts of "val1" to "val<count>" in order, null where absent. Small counts use the
// caller's buffer.
class NumberedValues {
 public:
  NumberedValues(xercesc::AttributeList& attributes, bool any, std::size_t count)
      : count_(count), texts_(count <= kInline ? inline_ : nullptr) {
    if (texts_ == nullptr) {
      heap_.assign(count, nullptr);
      texts_ = heap_.data();
    } else {
      for (std::size_t i = 0; i < count; ++i) texts_[i] = nullptr;
    }
    if (!any) return;
    const XMLSize_t n = attributes.getLength();
    for (XMLSize_t i = 0; i < n; ++i) {
      const std::uint64_t number = valueNumber(attributes.getName(i));
      if (number != 0 && number <= count && texts_[number - 1] == nullptr) {
        texts_[number - 1] = attributes.getValue(i);
      }
    }
  }
  NumberedValues(const NumberedValues&) = delete;
  NumberedValues& operator=(const NumberedValues&) = delete;

  std::size_t size() const { return count_; }
  const XMLCh* operator[](std::size_t i) const { return texts_[i]; }

 private:
  static constexpr std::size_t kInline = 64;
  std::size_t count_;
  const XMLCh* inline_[kInline];
  std::vector<const XMLCh*> heap_;
  const XMLCh** texts_;
};

// One tagged value as the builder gets it: the tag, the number of values ("nbE", 1 when
// absent, 0 when negative), the operation (PlusOp outside deltas) and the single value.
struct TaggedValue {
  unsigned long tag;
  long count;
  Xml::Operation op;
  const XMLCh* val;
  bool numbered;
};

TaggedValue readTaggedValue(xercesc::AttributeList& attributes, bool delta) {
  const TaggedAttributes a = readTaggedAttributes(attributes);
  long count = 1;
  if (a.count != nullptr) {
    count = XmlConversion::xmlChToLong(a.count);
    if (count < 0) count = 0;
  }
  return {tagOf(a.tag), count, delta ? operationOf(a.op) : Xml::PlusOp, a.val, a.numbered};
}

// False, with a warning, for a count too large to honour.
bool countHonoured(const TaggedValue& entry) {
  if (entry.count <= XmlBuilder::MaxValueCount) return true;
  char tag[16];
  std::snprintf(tag, sizeof tag, "%08lX", entry.tag);
  logText(LM_WARNING, __LINE__, 0,
          "XmlStudyHandler::startElement: value count " + std::to_string(entry.count) + " of tag " +
              tag + " is above " + std::to_string(XmlBuilder::MaxValueCount) + "; entry skipped.\n");
  return false;
}

// The narrow texts of texts (absent ones empty), in buffer.
const std::vector<ACE_CString>& narrowAll(const NumberedValues& texts,
                                          std::vector<ACE_CString>& buffer) {
  buffer.resize(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) wideToAnsi(texts[i], buffer[i]);
  return buffer;
}

template <class T, class Convert>
std::vector<T> convertAll(const NumberedValues& texts, Convert convert) {
  std::vector<T> values;
  values.reserve(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) values.push_back(convert(texts[i]));
  return values;
}

void tagged(XmlBuilder& builder, xercesc::AttributeList& attributes, bool delta,
            ACE_CString& text, std::vector<ACE_CString>& texts) {
  const TaggedValue entry = readTaggedValue(attributes, delta);
  const unsigned long tag = entry.tag;
  const Xml::Operation op = entry.op;
  Xml::Type (*getType)(unsigned long) = builder.getTypeCallback();
  const Xml::Type type = getType != nullptr ? getType(tag) : Xml::Type(0);
  if (type < Xml::StringType || type > Xml::FloatType) return;

  if (entry.count == 1) {
    const XMLCh* value = entry.val;
    switch (type) {
      case Xml::StringType:
        builder.startElement(tag, narrow(entry.val, text), op);
        break;
      case Xml::WideStringType:
        builder.startElement(tag, value != nullptr ? value : kEmpty, op);
        break;
      case Xml::LongType:
        builder.startElement(tag, XmlConversion::xmlChToLong(value != nullptr ? value : kEmpty), op);
        break;
      case Xml::ULongType:
        builder.startElement(tag, XmlConversion::xmlChToULong(value != nullptr ? value : kEmpty),
                             op);
        break;
      case Xml::FloatType:
        builder.startElement(tag, XmlConversion::xmlChToFloat(value != nullptr ? value : kEmpty),
                             op);
        break;
    }
    return;
  }
  if (!countHonoured(entry)) return;
  const NumberedValues values(attributes, entry.numbered, static_cast<std::size_t>(entry.count));
  switch (type) {
    case Xml::StringType:
      builder.startElement(tag, narrowAll(values, texts), op);
      break;
    case Xml::WideStringType:
      builder.startElement(
          tag, convertAll<XMLCh*>(values, [](const XMLCh* t) { return const_cast<XMLCh*>(t); }),
          op);
      break;
    case Xml::LongType:
      builder.startElement(tag, convertAll<long>(values, XmlConversion::xmlChToLong), op);
      break;
    case Xml::ULongType:
      builder.startElement(tag, convertAll<unsigned long>(values, XmlConversion::xmlChToULong), op);
      break;
    case Xml::FloatType:
      builder.startElement(tag, convertAll<float>(values, XmlConversion::xmlChToFloat), op);
      break;
  }
}

void binary(XmlBuilder& builder, xercesc::AttributeList& attributes, bool delta,
            ACE_CString& text, std::vector<ACE_CString>& texts) {
  const TaggedValue entry = readTaggedValue(attributes, delta);
  if (entry.count == 1) {
    builder.startBinElement(entry.tag, narrow(entry.val, text), entry.op);
  } else if (countHonoured(entry)) {
    const NumberedValues values(attributes, entry.numbered, static_cast<std::size_t>(entry.count));
    builder.startBinElement(entry.tag, narrowAll(values, texts), entry.op);
  }
}

// "\nWarning at file <system id>, line <n>, char <n>\n  Message: <message>": the text of
// the warning and error lines.
std::string located(const xercesc::SAXParseException& e) {
  return "\nWarning at file " + logField(e.getSystemId()) + ", line " +
         std::to_string(e.getLineNumber()) + ", char " + std::to_string(e.getColumnNumber()) +
         "\n  Message: " + logField(e.getMessage());
}

}  // namespace

XmlStudyHandler::XmlStudyHandler(XmlBuilder* builder) : builder_(builder) {}

void XmlStudyHandler::startElement(const XMLCh* const name, xercesc::AttributeList& attributes) {
  // Names are told apart by their first character, then compared whole; no two of the
  // format's names are the same, so the order of the tests does not matter.
  XmlBuilder& builder = *builder_;
  switch (name[0]) {
    case u'e':
      if (same(name, u"element")) tagged(builder, attributes, false, text_, texts_);
      break;
    case u's':
      if (same(name, u"study")) {
        builder.startStudy(narrow(attribute(attributes, u"name"), text_),
                           countOf(attribute(attributes, u"nbE")));
      } else if (same(name, u"series")) {
        builder.startSeries(narrow(attribute(attributes, u"name"), text_),
                            countOf(attribute(attributes, u"nbE")));
      } else if (same(name, u"sdelta")) {
        builder.startStudyDelta(attribute(attributes, u"datetime"),
                                narrow(attribute(attributes, u"user"), text_));
      } else if (same(name, u"sedelta")) {
        builder.startSeriesDelta(narrow(attribute(attributes, u"parent")),
                                 attribute(attributes, u"datetime"),
                                 narrow(attribute(attributes, u"user"), text_));
      } else if (same(name, u"sqElement")) {
        builder.startSequence(tagOf(attribute(attributes, u"tag")),
                              operationOf(attribute(attributes, u"op")));
      }
      break;
    case u't':
      if (same(name, u"template")) builder.startImageTemplate(countOf(attribute(attributes, u"nbE")));
      break;
    case u'i':
      if (same(name, u"idelta")) {
        builder.startImageDelta(narrow(attribute(attributes, u"parent"), text_));
      }
      break;
    case u'b':
      if (same(name, u"binary")) {
        binary(builder, attributes, false, text_, texts_);
      } else if (same(name, u"binDiff")) {
        binary(builder, attributes, true, text_, texts_);
      }
      break;
    case u'd':
      if (same(name, u"diff")) tagged(builder, attributes, true, text_, texts_);
      break;
    case u'v':
      if (startsWithVal(name)) builder.startSequenceValue();
      break;
    default:
      if (same(name, Xml::StudyDocumentXmlCh)) {
        builder.studyDocVersion(narrow(attribute(attributes, u"version"), text_));
      }
      break;
  }
}

void XmlStudyHandler::endElement(const XMLCh* const name) {
  if (same(name, u"template")) {
    builder_->endImageTemplate();
  } else if (same(name, u"idelta")) {
    builder_->endImageDelta();
  } else if (startsWithVal(name)) {
    builder_->endSequenceValue();
  } else if (same(name, u"sqElement")) {
    builder_->endSequence();
  }
}

void XmlStudyHandler::warning(const xercesc::SAXParseException& e) {
  logText(LM_WARNING, __LINE__, 0, "XmlStudyHandler::warning: " + located(e));
}

void XmlStudyHandler::error(const xercesc::SAXParseException& e) {
  logText(LM_WARNING, __LINE__, 0, "XmlStudyHandler::error: " + located(e));
}

void XmlStudyHandler::fatalError(const xercesc::SAXParseException& e) {
  logText(LM_WARNING, __LINE__, 0,
          "XmlStudyHandler::fatalError: line " + std::to_string(e.getLineNumber()) + " char " +
              std::to_string(e.getColumnNumber()) + ".\n");
  builder_->parsingIncomplete();
}

xercesc::InputSource* XmlStudyHandler::resolveEntity(const XMLCh* const, const XMLCh* const) {
  return nullptr;
}
