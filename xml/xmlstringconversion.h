// xml/xmlstringconversion.h: text conversions for XML.
//
// ConvertStringToXmlString escapes narrow text for XML character data and quoted
// attribute values; ConvertXmlStringToString undoes the library's own escapes. The
// functions keep no state and may run on several threads at once.
#ifndef CORVANE_XML_XMLSTRINGCONVERSION_H
#define CORVANE_XML_XMLSTRINGCONVERSION_H

#include <ace/SString.h>

#include "xml/export.h"

// Escapes the zero-terminated text for XML:
//   line feed -> "&#xA;", carriage return -> "&#xD;", '"' -> "&quot;", '&' -> "&amp;",
//   '\'' -> "&apos;", '<' -> "&lt;", '>' -> "&gt;",
//   other bytes 0x01-0x1F except tab -> one space,
//   bytes 0x80-0xFF -> their two-byte UTF-8 form read as ISO 8859-1 (0xE9 -> C3 A9).
// Every other byte, tab and 0x7F included, passes unchanged.
// Returns text itself when nothing needs escaping (out is then not touched and nothing
// is allocated); otherwise out receives the escaped text and its pointer is returned.
// Callers use the returned pointer and must not assume that out was written.
//   ConvertStringToXmlString("a<b", s)  -> "a&lt;b" (s's text)
//   ConvertStringToXmlString("plain", s) -> the argument itself
CORVANE_XML_API const char* ConvertStringToXmlString(const char* text, ACE_CString& out);

// Empties out, then appends the text with the seven escapes above turned back into
// their characters. A candidate runs from a '&' to the next ';' (or the end of the
// text); only the exact forms "&lt;", "&#xA;", "&gt;", "&amp;", "&#xD;", "&apos;" and
// "&quot;" are decoded, anything else is kept as it stands. The two-byte form of bytes
// 0x80-0xFF is not undone.
//   "a &lt; b" -> "a < b";  "&#10;" -> "&#10;";  "x&amp" -> "x&amp"
CORVANE_XML_API void ConvertXmlStringToString(const char* text, ACE_CString& out);

#endif  // CORVANE_XML_XMLSTRINGCONVERSION_H
