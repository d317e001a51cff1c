// xml/detail/numbers.h: number reading shared by the date readers (internal).
#ifndef CORVANE_XML_DETAIL_NUMBERS_H
#define CORVANE_XML_DETAIL_NUMBERS_H

#include <xercesc/util/XercesDefs.hpp>

namespace corvane_xml_detail {

// XmlConversion::xmlChToLong of the characters [begin, end), which need no terminator.
long readLong(const XMLCh* begin, const XMLCh* end);

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_DETAIL_NUMBERS_H
