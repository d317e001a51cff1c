// xml/detail/charsets.h: code-page conversions the readers share (internal).
#ifndef CORVANE_XML_DETAIL_CHARSETS_H
#define CORVANE_XML_DETAIL_CHARSETS_H

#include <cstddef>
#include <string>

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

// Appends the n bytes of Windows-1252 text at text to out as UTF-8. The five bytes the code
// page leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D) become U+FFFD.
void appendAnsiAsUtf8(const char* text, std::size_t n, std::string& out);

// Appends the n bytes of UTF-8 text at text to out as Windows-1252: "?" for each character
// the code page lacks and for each ill-formed sequence.
void appendUtf8AsAnsi(const char* text, std::size_t n, std::string& out);

// True when none of the n bytes at text is 0x80 or above.
bool isAscii(const char* text, std::size_t n);

// True when the n bytes at text are well-formed UTF-8 (no overlong forms, surrogates or
// code points past U+10FFFF).
bool isWellFormedUtf8(const char* text, std::size_t n);

// Appends the n bytes of text to out as well-formed UTF-8: each ill-formed sequence
// becomes U+FFFD for its maximal well-formed prefix (at least one byte).
void appendRepairedUtf8(const char* text, std::size_t n, std::string& out);

// Length of a zero-terminated UTF-16 text.
inline std::size_t wideLength(const XMLCh* text) {
  std::size_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_DETAIL_CHARSETS_H
