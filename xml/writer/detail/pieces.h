// xml/writer/detail/pieces.h: writing the emitter's pieces, shared by XmlEmitter and the
// element tree writer (internal).
#ifndef CORVANE_XML_WRITER_DETAIL_PIECES_H
#define CORVANE_XML_WRITER_DETAIL_PIECES_H

#include <cstddef>
#include <cstring>

#include <ace/SString.h>

#include "xml/common/common.h"
#include "xml/detail/xmlescape.h"

namespace corvane_xml_detail {

// One piece, one WriteBytes call, its result ignored.
inline void piece(OutputStream& out, const char* text, std::size_t length) {
  out.WriteBytes(text, static_cast<unsigned int>(length));
}

template <std::size_t N>
inline void literal(OutputStream& out, const char (&text)[N]) {
  out.WriteBytes(text, static_cast<unsigned int>(N - 1));
}

inline void plain(OutputStream& out, const char* text) { piece(out, text, std::strlen(text)); }

inline void escaped(OutputStream& out, const char* text) {
  ACE_CString scratch;
  std::size_t length;
  const char* s = escapeXml(text, scratch, length);
  piece(out, s, length);
}

// " name=\"value\"", escaped, in five pieces.
inline void attribute(OutputStream& out, const char* name, const char* value) {
  literal(out, " ");
  escaped(out, name);
  literal(out, "=\"");
  escaped(out, value);
  literal(out, "\"");
}

// Number texts; see xml/writer/xmlemitter.h. who names the operation in the
// std::out_of_range message for a number outside the limits.
constexpr std::size_t kIntegerBuffer = 16;
constexpr std::size_t kFloatBuffer = 24;
unsigned int signedText(char (&buffer)[kIntegerBuffer], long long value, unsigned int radix,
                        const char* who);
unsigned int unsignedText(char (&buffer)[kIntegerBuffer], unsigned long long value,
                          unsigned int radix, const char* who);
unsigned int floatText(char (&buffer)[kFloatBuffer], double value, const char* who);

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_WRITER_DETAIL_PIECES_H
