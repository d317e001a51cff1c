// xml/detail/xmlescape.h: the escaper behind ConvertStringToXmlString, for the writer
// (internal).
#ifndef CORVANE_XML_DETAIL_XMLESCAPE_H
#define CORVANE_XML_DETAIL_XMLESCAPE_H

#include <cstddef>

#include <ace/SString.h>

namespace corvane_xml_detail {

// As ConvertStringToXmlString, and also gives the length of the returned text.
const char* escapeXml(const char* text, ACE_CString& out, std::size_t& length);

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_DETAIL_XMLESCAPE_H
