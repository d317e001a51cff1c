// xml/study/xmlbuilder.h: reading study documents as typed callbacks.
//
// A study document (root "CorvaneStudyDocument") describes an imaging study, its series,
// image templates and tagged values, or the changes made to one (deltas). Every datum is
// in attributes; text content is never read. Derive from XmlBuilder, override the
// callbacks you need (each does nothing by default), and call build(): the document is
// parsed and each element becomes one call, synchronously and in document order. The type
// callback says per tag which kind of value it carries and so which startElement overload
// receives it. Values handed to a callback live only for the call; copy what you keep.
//
//   Xml::Type typeOf(unsigned long tag) { return tag == 0x00100010 ? Xml::StringType : Xml::LongType; }
//
//   class Printer : public XmlBuilder {
//    public:
//     using XmlBuilder::XmlBuilder;
//     void startElement(unsigned long tag, const ACE_CString& value,
//                       const Xml::Operation& op) override { ... }
//   };
//   InputMemStream bytes(text, length);
//   XmlInputSource input(bytes, "study.xml");
//   Printer(input, &typeOf, nullptr).build();   // XmlException::ParserError if broken
//
// The format, element by element (names compared exactly, with case; other elements and
// attributes are ignored; an absent narrow text is empty):
//   "CorvaneStudyDocument" version=       studyDocVersion(version)
//   "study" name= nbE=                    startStudy(name, count)
//   "series" name= nbE=                   startSeries(name, count)
//   "template" nbE=                       startImageTemplate(count) ... endImageTemplate()
//   "element" tag= nbE= val= | val1=...   startElement(tag, value(s), PlusOp)
//   "diff"    as "element", and op=       startElement(tag, value(s), op)
//   "binary"  tag= nbE= val= | val1=...   startBinElement(tag, text(s), PlusOp)
//   "binDiff" as "binary", and op=        startBinElement(tag, text(s), op)
//   "sqElement" tag= [op=]                startSequence(tag, op) ... endSequence()
//   any name beginning with "val"         startSequenceValue() ... endSequenceValue()
//   "sdelta" datetime= user=              startStudyDelta(datetime, user)
//   "sedelta" parent= datetime= user=     startSeriesDelta(parent, datetime, user)
//   "idelta" parent=                      startImageDelta(parent) ... endImageDelta()
// "tag" is hexadecimal, with or without "0x", read up to the first other character (no
// digits: 0). On "study", "series" and "template", "nbE" is read with
// XmlConversion::xmlChToLong (absent: 0). On tagged values "nbE" is the number of values
// (absent: 1): one value is the attribute "val"; any other count n reads "val1" to
// "val<n>" in order into a vector (a count of 0 gives an empty vector). "op" is "+" ->
// PlusOp, "-" -> MinusOp, anything else -> ChangeOp, absent -> PlusOp. "datetime" is
// handed over as its UTF-16 text (null when absent); Xml::GetDateTime reads it.
//
// Cases the format leaves open, as this reader handles them:
// - A negative "nbE" on a tagged value counts as 0: the vector overload with no values.
// - A tagged value or sequence without "tag" reads as tag 0, like a tag with no digits.
// - A count above MaxValueCount (1,048,576) is not honoured: the entry is skipped, with a
//   warning log line, so that a short element cannot make the reader build a vector of
//   billions of values.
#ifndef CORVANE_XML_STUDY_XMLBUILDER_H
#define CORVANE_XML_STUDY_XMLBUILDER_H

#include <vector>

#include <ace/SString.h>
#include <xercesc/sax/HandlerBase.hpp>

#include "xml/export.h"
#include "xml/sax/xmlparser.h"
#include "xml/xml.h"

class CORVANE_XML_API XmlBuilder {
 public:
  // input and directory (may be null) are not owned and must outlive build(); a null
  // type callback makes build() throw.
  XmlBuilder(XmlInputSource& input, Xml::Type (*getType)(unsigned long tag),
             const XmlEntityDirectory* directory);
  XmlBuilder(const XmlBuilder&) = delete;
  XmlBuilder& operator=(const XmlBuilder&) = delete;
  virtual ~XmlBuilder();

  // Parses the input whole, making the callbacks as the document is read. Throws
  // XmlException::SystemError "XmlBuilder::build InvalidGetCallback" without a type
  // callback (before reading anything); XmlException::ParserError with the parser's
  // message when the parser throws (after the log line "XmlBuilder: Sax parser error.\n"),
  // and "Parsing was incomplete" after a fatal parse error, which is logged, this time and
  // on every later build() of this object. Callbacks made before a failure stand.
  // XmlException::SystemError for an external entity the directory lacks; exceptions of
  // the callbacks pass unchanged.
  virtual void build();

  virtual void studyDocVersion(const ACE_CString& version);
  virtual void startStudy(const ACE_CString& name, unsigned long count);
  virtual void startSeries(const ACE_CString& name, unsigned long count);
  virtual void startImageTemplate(unsigned long count);
  virtual void endImageTemplate();
  virtual void startImageDelta(const ACE_CString& parent);
  virtual void endImageDelta();
  // datetime: the attribute's UTF-16 text, or null when it is absent.
  virtual void startStudyDelta(const XMLCh* datetime, const ACE_CString& user);
  virtual void startSeriesDelta(const ACE_CString& parent, const XMLCh* datetime,
                                const ACE_CString& user);
  // Tagged values, by the kind the type callback gives the tag. Wide values point into
  // the parser's attribute storage; an absent one is an empty text as a single value and
  // a null pointer in a vector.
  virtual void startElement(unsigned long tag, const std::vector<XMLCh*>& values,
                            const Xml::Operation& op);
  virtual void startElement(unsigned long tag, const XMLCh* value, const Xml::Operation& op);
  virtual void startElement(unsigned long tag, const std::vector<float>& values,
                            const Xml::Operation& op);
  virtual void startElement(unsigned long tag, float value, const Xml::Operation& op);
  virtual void startElement(unsigned long tag, const std::vector<unsigned long>& values,
                            const Xml::Operation& op);
  virtual void startElement(unsigned long tag, unsigned long value, const Xml::Operation& op);
  virtual void startElement(unsigned long tag, const std::vector<long>& values,
                            const Xml::Operation& op);
  virtual void startElement(unsigned long tag, long value, const Xml::Operation& op);
  virtual void startElement(unsigned long tag, const std::vector<ACE_CString>& values,
                            const Xml::Operation& op);
  virtual void startElement(unsigned long tag, const ACE_CString& value, const Xml::Operation& op);
  // Binary values: the texts as they stand (Base64 or otherwise; nothing is decoded).
  virtual void startBinElement(unsigned long tag, const std::vector<ACE_CString>& values,
                               const Xml::Operation& op);
  virtual void startBinElement(unsigned long tag, const ACE_CString& value,
                               const Xml::Operation& op);
  virtual void startSequence(unsigned long tag, const Xml::Operation& op);
  virtual void endSequence();
  virtual void startSequenceValue();
  virtual void endSequenceValue();

  // The largest value count of a tagged value that is honoured.
  static constexpr long MaxValueCount = 1L << 20;

  // Replaces the entity directory (may be null).
  void entityDirectory(const XmlEntityDirectory* directory);
  // Replaces the type callback.
  void getTypeCallback(Xml::Type (*getType)(unsigned long tag));
  Xml::Type (*getTypeCallback() const)(unsigned long tag);
  // Marks the parse incomplete: set by the handler on a fatal parse error.
  void parsingIncomplete();
  bool isParsingIncomplete() const;

 private:
  XmlInputSource& input_;
  const XmlEntityDirectory* directory_;
  Xml::Type (*getType_)(unsigned long tag);
  bool incomplete_;
};

// XmlStudyHandler: turns the parser's events into the calls of one XmlBuilder (not owned),
// by each element's name alone; it keeps no state between events. Its warning and error
// operations log at warning priority; fatalError logs and marks the builder incomplete.
// XmlBuilder::build makes one; it is public for callers that drive an XmlParser themselves.
class CORVANE_XML_API XmlStudyHandler : public xercesc::HandlerBase {
 public:
  explicit XmlStudyHandler(XmlBuilder* builder);

  void startElement(const XMLCh* const name, xercesc::AttributeList& attributes) override;
  void endElement(const XMLCh* const name) override;
  void warning(const xercesc::SAXParseException& e) override;
  void error(const xercesc::SAXParseException& e) override;
  void fatalError(const xercesc::SAXParseException& e) override;
  xercesc::InputSource* resolveEntity(const XMLCh* const publicId,
                                      const XMLCh* const systemId) override;

 private:
  XmlBuilder* builder_;
  // Reused from one element to the next so that, once grown, converting the narrow texts
  // a callback receives does not allocate.
  ACE_CString text_;
  std::vector<ACE_CString> texts_;
};

#endif  // CORVANE_XML_STUDY_XMLBUILDER_H
