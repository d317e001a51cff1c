// xml/xml.h: the class Xml, a holder of static members shared by the library's families,
// and XmlConversion, the locale-independent number readers of study documents.
//
// Xml::initialize and Xml::finalize start and stop the Xerces parser runtime. The library
// calls them itself when it is loaded into and unloaded from a process; calling them
// again changes nothing. Each keeps one process-wide flag: once both have run, the
// runtime is never restarted in that process.
//
// The rest of Xml is the vocabulary of study documents (see xml/study/xmlbuilder.h): the
// element and attribute names, each as a narrow constant (…Ch) and, where the reader
// compares against it, a UTF-16 twin (…XmlCh) with the same text; the value kinds a tag
// can carry (Type); the operations of delta entries (Operation); and the readers of the
// date and time texts found in documents. Everything here is constant or stateless and
// may be used from any thread.
//
//   Xml::OpToWeight(u"-")                  -> 0 (Xml::MinusOp)
//   XmlConversion::xmlChToFloat(u"1.5")    -> 1.5f, whatever the process locale
//   BDateTime when;
//   Xml::GetDateTime(u"03/07/2009 14:05:09.250", when);   // 7 March 2009, 14:05:09.250
#ifndef CORVANE_XML_XML_H
#define CORVANE_XML_XML_H

#include <xercesc/util/XercesDefs.hpp>

#include "xml/common/common.h"
#include "xml/export.h"

class CORVANE_XML_API Xml {
 public:
  Xml() = delete;

  // Starts the parser runtime once per process. A failure is written to standard error
  // ("Error during initialization! :" and the parser's message) and not reported
  // otherwise; parsers made afterwards then fail in the parser's own way.
  static void initialize();
  // Stops the parser runtime once per process.
  static void finalize();

  // -- Study document vocabulary ------------------------------------------------------

  static const char* const RootCh;                 // "root"
  static const char* const StudyDocumentCh;        // "CorvaneStudyDocument": the document root
  static const XMLCh* const StudyDocumentXmlCh;
  static const char* const VersionCh;              // "version": attribute of the root
  static const XMLCh* const VersionXmlCh;
  static const char* const StudyCh;                // "study"
  static const XMLCh* const StudyXmlCh;
  static const char* const SeriesCh;               // "series"
  static const XMLCh* const SeriesXmlCh;
  static const char* const ImageTemplateCh;        // "template"
  static const XMLCh* const ImageTemplateXmlCh;
  static const char* const ElementCh;              // "element": a tagged value
  static const XMLCh* const ElementXmlCh;
  static const char* const BinaryDataCh;           // "binary": a tagged binary value
  static const XMLCh* const BinaryDataXmlCh;
  static const char* const SequenceElementCh;      // "sqElement": a tagged sequence
  static const XMLCh* const SequenceElementXmlCh;
  static const char* const StudyDeltaCh;           // "sdelta": changes to a study
  static const XMLCh* const StudyDeltaXmlCh;
  static const char* const SeriesDeltaCh;          // "sedelta": changes to a series
  static const XMLCh* const SeriesDeltaXmlCh;
  static const char* const ImageDeltaCh;           // "idelta": changes to an image
  static const XMLCh* const ImageDeltaXmlCh;
  static const char* const DiffCh;                 // "diff": a changed tagged value
  static const XMLCh* const DiffXmlCh;
  static const char* const BinDiffCh;              // "binDiff": a changed binary value
  static const XMLCh* const BinDiffXmlCh;
  static const char* const TagCh;                  // "tag": tag number in hexadecimal
  static const XMLCh* const TagXmlCh;
  static const char* const NameCh;                 // "name": study or series name
  static const XMLCh* const NameXmlCh;
  static const char* const ParentCh;               // "parent": of image and series deltas
  static const XMLCh* const ParentXmlCh;
  static const char* const NbElementsCh;           // "nbE": count of values or children
  static const XMLCh* const NbElementsXmlCh;
  static const char* const DateTimeCh;             // "datetime": of study and series deltas
  static const XMLCh* const DateTimeXmlCh;
  static const char* const UserNameCh;             // "user": of study and series deltas
  static const XMLCh* const UserNameXmlCh;
  static const char* const OperationCh;            // "op": operation of a delta entry
  static const XMLCh* const OperationXmlCh;
  static const char* const PlusOpCh;               // "+"
  static const XMLCh* const PlusOpXmlCh;
  static const char* const MinusOpCh;              // "-"
  static const XMLCh* const MinusOpXmlCh;
  static const char* const ChangeOpCh;             // "*"
  static const XMLCh* const ChangeOpXmlCh;
  static const char* const ValueCh;                // "val": a single value; prefix of sequence items
  static const XMLCh* const ValueXmlCh;
  static const char* const ImageTypeCh;            // "type"
  static const char* const EncodingAttrib;         // "Encode"
  static const char* const Base64Encoding;         // "base64"
  static const char* const Base64ZEncoding;        // "base64z"
  static const char* const EncodedString;          // "encodedString"
  static const char* const UnknownId;              // "UNKNOWN"
  static const char* const IdAttributeName;        // "id"

  // The number of names in ValueChArray and ValueXmlChArray.
  static constexpr unsigned int MaxNumExpectedValues = 50;
  // "val1" to "val50" (index 0 holds "val1"): the attributes that carry the values of a
  // multi-valued entry. Values beyond the fiftieth are named "val51", "val52" and so on.
  static const char* const ValueChArray[MaxNumExpectedValues];
  static const XMLCh* const ValueXmlChArray[MaxNumExpectedValues];
  // A space: offered to writers that join several values into one text. Nothing in the
  // library splits or joins values by it.
  static constexpr unsigned short ValueSequenceSeparator = 0x20;

  // The kind of value a tag carries, as the caller's type callback answers it. Any
  // other value (0, say) makes the reader skip the entry.
  enum Type {
    StringType = 1,      // narrow text in the system code page (Windows-1252)
    WideStringType = 2,  // the attribute's UTF-16 text, unchanged
    LongType = 3,        // signed 32-bit integer
    ULongType = 4,       // unsigned 32-bit integer
    FloatType = 5        // 32-bit float
  };

  // The operation of an entry: PlusOp also for every entry outside a delta.
  enum Operation {
    PlusOp = -1,   // "op" is "+", or absent
    MinusOp = 0,   // "op" is "-"
    ChangeOp = 2   // "op" is "*" or any other text
  };

  // A null pointer or "+" gives -1, "-" gives 0, any other text ("*" and "" included) 2:
  // the Operation values. -1 is also the element tree's default weight.
  static int OpToWeight(const XMLCh* op);

  // -- Date and time texts ------------------------------------------------------------
  //
  // GetDate reads MM/DD/YYYY when the third character is "/", else YYYYMMDD; each field
  // is read with XmlConversion::xmlChToLong. GetTime reads from after the first space (or
  // from the start when there is none) HH:MM:SS when that part holds ":", else HHMMSS;
  // when the whole text holds ".", the digits from the tenth (HH:MM:SS) or eighth
  // (HHMMSS) character of the time part on are added as milliseconds, unscaled ("…09.5"
  // adds 5 ms). The time is the count of milliseconds since midnight those fields make,
  // so 10:75:00 reads as 11:15:00. GetDateTime reads both from one text.
  // The output is overwritten. A null text, or a text too short to hold every field of
  // its pattern, gives the invalid default date or time: no character past the
  // terminator is read. Fields that are not numbers read as 0, which makes the date
  // invalid; a count of milliseconds that is negative, or a day or more, makes the time
  // invalid.
  static void GetDate(const XMLCh* text, BDate& date);
  static void GetTime(const XMLCh* text, BTime& time);
  static void GetDateTime(const XMLCh* text, BDateTime& dateTime);
};

// XmlConversion: decimal numbers from UTF-16 text, in the C locale whatever the process's
// locale (a point is the decimal separator; no thousands separators). White space
// around the number is allowed. The integer readers also take a number with a fraction
// or an exponent and round it to the nearest integer, halves to even ("2.5" -> 2).
// A null pointer, an empty text, a text that is not a number, and a number outside the
// 32-bit range of the type (or outside float's range) give 0.
class CORVANE_XML_API XmlConversion {
 public:
  XmlConversion() = delete;
  static float xmlChToFloat(const XMLCh* text);
  // -2147483648 to 2147483647.
  static long xmlChToLong(const XMLCh* text);
  // 0 to 4294967295; "-0" is 0, any other negative number is out of range.
  static unsigned long xmlChToULong(const XMLCh* text);
};

#endif  // CORVANE_XML_XML_H
