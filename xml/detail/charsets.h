// xml/detail/charsets.h: code-page conversions the readers share (internal).
#ifndef CORVANE_XML_DETAIL_CHARSETS_H
#define CORVANE_XML_DETAIL_CHARSETS_H

#include <cstddef>

#include <ace/SString.h>
#include <xercesc/util/XercesDefs.hpp>

namespace corvane_xml_detail {

// Sets out to the Windows-1252 text of the zero-terminated UTF-16 text, "?" for the
// characters the code page lacks, reusing out's buffer: the one conversion of names, keys
// and exception texts that arrive in UTF-16. Null gives "".
void wideToAnsi(const XMLCh* text, ACE_CString& out);

// As ConvertWideCharToAnsi converts it (low bytes kept for characters the code page
// lacks), into out, reusing out's buffer.
void wideToAnsiKeepingLowBytes(const XMLCh* text, ACE_CString& out);

// The same two conversions of the n units at text into out, which has room for n bytes
// (one byte per character, a surrogate pair being one character); they return the number
// of bytes written. A high surrogate that is the last of the n units counts as unpaired.
std::size_t wideToAnsi(const XMLCh* text, std::size_t n, char* out);
std::size_t wideToAnsiKeepingLowBytes(const XMLCh* text, std::size_t n, char* out);

// Length of a zero-terminated UTF-16 text.
inline std::size_t wideLength(const XMLCh* text) {
  std::size_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_DETAIL_CHARSETS_H
