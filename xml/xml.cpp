// xml/xml.cpp: the study document vocabulary and the locale-independent number readers.
#include "xml/xml.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <system_error>

#include "xml/detail/numbers.h"

// -- Vocabulary ---------------------------------------------------------------------

const char* const Xml::RootCh = "root";
const char* const Xml::StudyDocumentCh = "CorvaneStudyDocument";
const XMLCh* const Xml::StudyDocumentXmlCh = u"CorvaneStudyDocument";
const char* const Xml::VersionCh = "version";
const XMLCh* const Xml::VersionXmlCh = u"version";
const char* const Xml::StudyCh = "study";
const XMLCh* const Xml::StudyXmlCh = u"study";
const char* const Xml::SeriesCh = "series";
const XMLCh* const Xml::SeriesXmlCh = u"series";
const char* const Xml::ImageTemplateCh = "template";
const XMLCh* const Xml::ImageTemplateXmlCh = u"template";
const char* const Xml::ElementCh = "element";
const XMLCh* const Xml::ElementXmlCh = u"element";
const char* const Xml::BinaryDataCh = "binary";
const XMLCh* const Xml::BinaryDataXmlCh = u"binary";
const char* const Xml::SequenceElementCh = "sqElement";
const XMLCh* const Xml::SequenceElementXmlCh = u"sqElement";
const char* const Xml::StudyDeltaCh = "sdelta";
const XMLCh* const Xml::StudyDeltaXmlCh = u"sdelta";
const char* const Xml::SeriesDeltaCh = "sedelta";
const XMLCh* const Xml::SeriesDeltaXmlCh = u"sedelta";
const char* const Xml::ImageDeltaCh = "idelta";
const XMLCh* const Xml::ImageDeltaXmlCh = u"idelta";
const char* const Xml::DiffCh = "diff";
const XMLCh* const Xml::DiffXmlCh = u"diff";
const char* const Xml::BinDiffCh = "binDiff";
const XMLCh* const Xml::BinDiffXmlCh = u"binDiff";
const char* const Xml::TagCh = "tag";
const XMLCh* const Xml::TagXmlCh = u"tag";
const char* const Xml::NameCh = "name";
const XMLCh* const Xml::NameXmlCh = u"name";
const char* const Xml::ParentCh = "parent";
const XMLCh* const Xml::ParentXmlCh = u"parent";
const char* const Xml::NbElementsCh = "nbE";
const XMLCh* const Xml::NbElementsXmlCh = u"nbE";
const char* const Xml::DateTimeCh = "datetime";
const XMLCh* const Xml::DateTimeXmlCh = u"datetime";
const char* const Xml::UserNameCh = "user";
const XMLCh* const Xml::UserNameXmlCh = u"user";
const char* const Xml::OperationCh = "op";
const XMLCh* const Xml::OperationXmlCh = u"op";
const char* const Xml::PlusOpCh = "+";
const XMLCh* const Xml::PlusOpXmlCh = u"+";
const char* const Xml::MinusOpCh = "-";
const XMLCh* const Xml::MinusOpXmlCh = u"-";
const char* const Xml::ChangeOpCh = "*";
const XMLCh* const Xml::ChangeOpXmlCh = u"*";
const char* const Xml::ValueCh = "val";
const XMLCh* const Xml::ValueXmlCh = u"val";
const char* const Xml::ImageTypeCh = "type";
const char* const Xml::EncodingAttrib = "Encode";
const char* const Xml::Base64Encoding = "base64";
const char* const Xml::Base64ZEncoding = "base64z";
const char* const Xml::EncodedString = "encodedString";
const char* const Xml::UnknownId = "UNKNOWN";
const char* const Xml::IdAttributeName = "id";

constexpr unsigned int Xml::MaxNumExpectedValues;
constexpr unsigned short Xml::ValueSequenceSeparator;

const char* const Xml::ValueChArray[Xml::MaxNumExpectedValues] = {
    "val1",  "val2",  "val3",  "val4",  "val5",  "val6",  "val7",  "val8",  "val9",  "val10",
    "val11", "val12", "val13", "val14", "val15", "val16", "val17", "val18", "val19", "val20",
    "val21", "val22", "val23", "val24", "val25", "val26", "val27", "val28", "val29", "val30",
    "val31", "val32", "val33", "val34", "val35", "val36", "val37", "val38", "val39", "val40",
    "val41", "val42", "val43", "val44", "val45", "val46", "val47", "val48", "val49", "val50"};

const XMLCh* const Xml::ValueXmlChArray[Xml::MaxNumExpectedValues] = {
    u"val1",  u"val2",  u"val3",  u"val4",  u"val5",  u"val6",  u"val7",  u"val8",  u"val9",
    u"val10", u"val11", u"val12", u"val13", u"val14", u"val15", u"val16", u"val17", u"val18",
    u"val19", u"val20", u"val21", u"val22", u"val23", u"val24", u"val25", u"val26", u"val27",
    u"val28", u"val29", u"val30", u"val31", u"val32", u"val33", u"val34", u"val35", u"val36",
    u"val37", u"val38", u"val39", u"val40", u"val41", u"val42", u"val43", u"val44", u"val45",
    u"val46", u"val47", u"val48", u"val49", u"val50"};

int Xml::OpToWeight(const XMLCh* op) {
  if (op == nullptr || (op[0] == u'+' && op[1] == 0)) return PlusOp;
  if (op[0] == u'-' && op[1] == 0) return MinusOp;
  return ChangeOp;
}

// -- Numbers ------------------------------------------------------------------------

namespace corvane_xml_detail {

namespace {

bool isBlank(XMLCh c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }
bool isDigit(XMLCh c) { return c >= u'0' && c <= u'9'; }

// A decimal number as ASCII: [blanks] [sign] digits [. digits] [e|E [sign] digits]
// [blanks], with at least one digit before the exponent. Checked on the UTF-16 text, so
// that a text that is no number costs no copy.
class DecimalText {
 public:
  DecimalText(const XMLCh* begin, const XMLCh* end) {
    while (begin != end && isBlank(*begin)) ++begin;
    while (end != begin && isBlank(end[-1])) --end;
    const XMLCh* p = begin;
    if (p != end && (*p == u'+' || *p == u'-')) negative_ = *p++ == u'-';
    const XMLCh* digits = p;
    while (p != end && isDigit(*p)) ++p;
    std::size_t mantissa = static_cast<std::size_t>(p - digits);
    if (p != end && *p == u'.') {
      whole_ = false;
      const XMLCh* fraction = ++p;
      while (p != end && isDigit(*p)) ++p;
      mantissa += static_cast<std::size_t>(p - fraction);
    }
    if (mantissa == 0) return;
    if (p != end && (*p == u'e' || *p == u'E')) {
      whole_ = false;
      ++p;
      if (p != end && (*p == u'+' || *p == u'-')) ++p;
      const XMLCh* exponent = p;
      while (p != end && isDigit(*p)) ++p;
      if (p == exponent) return;
    }
    if (p != end) return;
    // from_chars takes no "+"; the sign is applied by the caller.
    const std::size_t n = static_cast<std::size_t>(end - digits);
    char* out = n <= sizeof local_ ? local_ : (heap_.resize(n), &heap_[0]);
    for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<char>(digits[i]);
    first_ = out;
    last_ = out + n;
    valid_ = true;
  }

  bool valid() const { return valid_; }
  bool whole() const { return whole_; }  // no fraction, no exponent
  bool negative() const { return negative_; }

  template <class T>
  bool read(T& value, std::chars_format format) const {
    T parsed = 0;
    const std::from_chars_result r = std::from_chars(first_, last_, parsed, format);
    if (r.ec != std::errc() || r.ptr != last_) return false;
    value = negative_ ? -parsed : parsed;
    return true;
  }
  bool read(unsigned long long& value) const {
    const std::from_chars_result r = std::from_chars(first_, last_, value, 10);
    return r.ec == std::errc() && r.ptr == last_;
  }

 private:
  bool valid_ = false;
  bool whole_ = true;
  bool negative_ = false;
  const char* first_ = nullptr;
  const char* last_ = nullptr;
  char local_[64];
  std::string heap_;
};

// The common form, an optional sign and up to 18 digits with nothing around them, read
// straight from the UTF-16 text; false for anything else, which the general path reads.
bool plainInteger(const XMLCh* begin, const XMLCh* end, long long& value) {
  bool negative = false;
  if (begin != end && (*begin == u'-' || *begin == u'+')) negative = *begin++ == u'-';
  if (begin == end || end - begin > 18) return false;
  long long n = 0;
  for (; begin != end; ++begin) {
    const unsigned digit = static_cast<unsigned>(*begin) - u'0';
    if (digit > 9) return false;
    n = n * 10 + digit;
  }
  value = negative ? -n : n;
  return true;
}

// A whole number in [low, high], rounding a fraction halves to even; false otherwise.
bool readInteger(const XMLCh* begin, const XMLCh* end, long long low, long long high,
                 long long& value) {
  long long plain = 0;
  if (plainInteger(begin, end, plain)) {
    if (plain < low || plain > high) return false;
    value = plain;
    return true;
  }
  const DecimalText text(begin, end);
  if (!text.valid()) return false;
  if (text.whole()) {
    unsigned long long magnitude = 0;
    if (!text.read(magnitude) || magnitude > (1ull << 63)) return false;
    const long long n = text.negative() ? static_cast<long long>(0 - magnitude)
                                        : static_cast<long long>(magnitude);
    if (magnitude == (1ull << 63) && !text.negative()) return false;
    if (n < low || n > high) return false;
    value = n;
    return true;
  }
  double d = 0;
  if (!text.read(d, std::chars_format::general)) return false;
  d = std::nearbyint(d);
  if (!(d >= static_cast<double>(low) && d <= static_cast<double>(high))) return false;
  value = static_cast<long long>(d);
  return true;
}

}  // namespace

long readLong(const XMLCh* begin, const XMLCh* end) {
  long long value = 0;
  return readInteger(begin, end, INT32_MIN, INT32_MAX, value) ? static_cast<long>(value) : 0;
}

}  // namespace corvane_xml_detail

namespace {

const XMLCh* endOf(const XMLCh* text) {
  while (*text != 0) ++text;
  return text;
}

}  // namespace

long XmlConversion::xmlChToLong(const XMLCh* text) {
  if (text == nullptr) return 0;
  return corvane_xml_detail::readLong(text, endOf(text));
}

unsigned long XmlConversion::xmlChToULong(const XMLCh* text) {
  if (text == nullptr) return 0;
  long long value = 0;
  return corvane_xml_detail::readInteger(text, endOf(text), 0, UINT32_MAX, value)
             ? static_cast<unsigned long>(value)
             : 0;
}

float XmlConversion::xmlChToFloat(const XMLCh* text) {
  if (text == nullptr) return 0;
  const corvane_xml_detail::DecimalText decimal(text, endOf(text));
  float value = 0;
  return decimal.valid() && decimal.read(value, std::chars_format::general) ? value : 0.0f;
}
