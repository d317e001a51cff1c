// xml/xml.cpp: the study document vocabulary and the locale-independent number readers.
#include "xml/xml.h"

#include <cctype>
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

// The ASCII text of [begin, end) without surrounding blanks, into buffer; false when a
// character is not ASCII or nothing is left.
bool asciiText(const XMLCh* begin, const XMLCh* end, std::string& buffer) {
  while (begin != end && isBlank(*begin)) ++begin;
  while (end != begin && isBlank(end[-1])) --end;
  if (begin == end) return false;
  buffer.resize(static_cast<std::size_t>(end - begin));
  char* out = &buffer[0];
  char16_t any = 0;
  for (const XMLCh* p = begin; p != end; ++p) {
    any |= *p;
    *out++ = static_cast<char>(*p);
  }
  return (any & 0xFF80) == 0;
}

// A decimal number that may carry a sign, a fraction and an exponent. from_chars takes
// neither a leading "+" nor hexadecimal forms here, but does take "inf" and "nan": the
// first character after the sign must be a digit or a point. Out of range is no number.
template <class T>
bool readFloating(const std::string& text, T& value) {
  const char* first = text.data();
  const char* last = first + text.size();
  bool negative = false;
  if (first != last && (*first == '+' || *first == '-')) negative = *first++ == '-';
  if (first == last || !(std::isdigit(static_cast<unsigned char>(*first)) || *first == '.')) {
    return false;
  }
  T parsed = 0;
  const std::from_chars_result r = std::from_chars(first, last, parsed, std::chars_format::general);
  if (r.ec != std::errc() || r.ptr != last) return false;
  value = negative ? -parsed : parsed;
  return true;
}

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
  std::string text;
  if (!asciiText(begin, end, text)) return false;
  if (text.find_first_of(".eE") == std::string::npos) {
    const char* first = text.data();
    const char* last = first + text.size();
    if (*first == '+' && ++first != last && *first == '-') return false;
    long long n = 0;
    const std::from_chars_result r = std::from_chars(first, last, n, 10);
    if (r.ec != std::errc() || r.ptr != last || n < low || n > high) return false;
    value = n;
    return true;
  }
  double d = 0;
  if (!readFloating(text, d)) return false;
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
  // The common form, a sign, digits and a point, goes to from_chars from a stack buffer.
  char plain[32];
  std::size_t n = 0;
  for (const XMLCh* p = text; *p != 0; ++p) {
    const XMLCh c = *p;
    if (n == sizeof plain || !((c >= u'0' && c <= u'9') || c == u'.' || c == u'-')) {
      n = 0;
      break;
    }
    plain[n++] = static_cast<char>(c);
  }
  if (n != 0 && plain[0] != '.' && plain[n - 1] != '.') {
    const char* first = plain + (plain[0] == '-' ? 1 : 0);
    float value = 0;
    const std::from_chars_result r =
        std::from_chars(first, plain + n, value, std::chars_format::fixed);
    if (r.ec == std::errc() && r.ptr == plain + n && first != plain + n && *first != '-') {
      return plain[0] == '-' ? -value : value;
    }
  }
  std::string ascii;
  if (!corvane_xml_detail::asciiText(text, endOf(text), ascii)) return 0;
  float value = 0;
  return corvane_xml_detail::readFloating(ascii, value) ? value : 0.0f;
}
