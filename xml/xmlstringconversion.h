// xml/xmlstringconversion.h: text conversions for XML.
//
// ConvertStringToXmlString escapes narrow text for XML character data and quoted
// attribute values; ConvertXmlStringToString undoes the library's own escapes. The
// Convert...To... functions move text between UTF-8, UTF-16 (XMLCh, what the parser hands
// out) and the system code page, which is Windows-1252 (characters it lacks become "?");
// two more carry binary data as Base64 text; LocalTimeToXMLDateTime writes XML date-time
// text. Functions that fill an owning pointer put a new buffer into it (freeing the one
// it held) that the caller then owns. The functions keep no state and may run on several
// threads at once.
#ifndef CORVANE_XML_XMLSTRINGCONVERSION_H
#define CORVANE_XML_XMLSTRINGCONVERSION_H

#include <ace/SString.h>
#include <xercesc/util/XercesDefs.hpp>

#include "xml/common/common.h"
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

// Appends the zero-terminated UTF-8 text to out as ISO 8859-1, decoding by hand: ASCII
// bytes pass, a two-byte sequence 110xxxxx 10yyyyyy gives the byte ((x & 1) << 6) + y
// (exact for U+0080-U+00FF), anything else (longer sequences, stray or cut bytes) gives
// one 0xBF per sequence. out is not emptied first.
//   C3 A9 -> E9;  E2 82 AC -> BF;  80 'A' -> BF 'A'
CORVANE_XML_API void ConvertUTF8StringToAnsi(const char* text, ACE_CString& out);

// The whole of text (its length, zero bytes included) from UTF-8 to zero-terminated
// UTF-16. An ill-formed sequence becomes U+FFFD and is not an error.
CORVANE_XML_API void ConvertUTF8ToWideChar(const ACE_CString& text,
                                           Corvane::auto_ptr<XMLCh, Corvane::BasicDelete<XMLCh>>& out);

// Zero-terminated UTF-16 to zero-terminated Windows-1252; a character the code page lacks
// (a surrogate pair counts as one) becomes "?".
CORVANE_XML_API void ConvertWideCharToAnci(const XMLCh* text,
                                           Corvane::auto_ptr<char, Corvane::BasicDelete<char>>& out);

// As ConvertWideCharToAnci, except that where a unit other than "?" came out as "?" its low
// byte is kept instead, so characters the code page lacks keep their ISO 8859-1 value
// (U+0081 -> 0x81, U+0100 -> 0x00 ends the text there).
CORVANE_XML_API void ConvertWideCharToAnsi(const XMLCh* text,
                                           Corvane::auto_ptr<char, Corvane::ArrayDelete<char>>& out);

// Zero-terminated UTF-16 to zero-terminated UTF-8; a lone surrogate becomes U+FFFD. The
// output, terminator included, must fit in the text's length plus 255 bytes: a longer one
// is logged at LM_ERROR ("XmlStringConversion: Failed to convert wide character to UTF-8:
// error = 7", E2BIG) and throws XmlException::ParserError "XmlStringConversion: Failed to
// convert from wide character"; out then holds a buffer of undefined contents.
CORVANE_XML_API void ConvertWideCharToUTF8(const XMLCh* text,
                                           Corvane::auto_ptr<char, Corvane::BasicDelete<char>>& out);

// Replaces out with the Base64 text (RFC 4648) of count bytes at data.
CORVANE_XML_API void ConvertBinToXmlString(const char* data, unsigned int count, ACE_CString& out);

// Decodes the Base64 text into a new buffer in out and sets count to its length.
CORVANE_XML_API void ConvertXmlStringToBin(const ACE_CString& text,
                                           Corvane::auto_ptr<char, Corvane::ArrayDelete<char>>& out,
                                           unsigned int& count);

// The local date-time as XML date-time text, "YYYY-MM-DDTHH:MM:SS", followed when withZone
// is set by the machine's current offset from universal time, "+HH:MM" or "-HH:MM" (east
// of Greenwich is plus; the offset of today, whatever the date written). An invalid time
// part is written as midnight. An invalid date part, or a zone offset the C library
// cannot tell when one is asked for, gives an empty text.
//   7 March 2009 14:05:09 in UTC+05:30 -> "2009-03-07T14:05:09+05:30"
// The readers of Xml (xml/xml.h) take other forms; this text is not one of them.
CORVANE_XML_API ACE_CString LocalTimeToXMLDateTime(BDateTime dateTime, bool withZone);

#endif  // CORVANE_XML_XMLSTRINGCONVERSION_H
