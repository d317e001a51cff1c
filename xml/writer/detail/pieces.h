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

// The text escaped, in one piece. Most texts need no escaping: those are written
// straight from the caller's memory, without even a scratch string.
inline void escaped(OutputStream& out, const char* text) {
  const char* stop = findEscape(text);
  if (*stop == '\0') {
    piece(out, text, static_cast<std::size_t>(stop - text));
    return;
  }
  ACE_CString scratch;
  std::size_t length;
  const char* s = escapeFrom(text, stop, scratch, length);
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

// Pieces for a stream whose exact type is known: the library's own memory and file
// streams take them inline, any other stream (a caller's subclass included) through
// one WriteBytes call each.
template <class Stream>
struct Sink {
  Stream& out;
  void put(const char* text, std::size_t length) { out.append(text, length); }
};

template <>
struct Sink<OutputStream> {
  OutputStream& out;
  void put(const char* text, std::size_t length) {
    out.WriteBytes(text, static_cast<unsigned int>(length));
  }
};

template <class Stream, std::size_t N>
inline void literal(Sink<Stream>& sink, const char (&text)[N]) {
  sink.put(text, N - 1);
}

// The n-byte text escaped, up to a zero byte in it; returns the length of the text
// that was escaped (n, or the position of that zero byte).
template <class Stream>
__attribute__((always_inline)) inline std::size_t escaped(Sink<Stream>& sink, const char* text,
                                                          std::size_t n) {
  const char* stop = findStopN(text, n);
  if (stop == text + n || *stop == '\0') {
    sink.put(text, static_cast<std::size_t>(stop - text));
    return static_cast<std::size_t>(stop - text);
  }
  ACE_CString scratch;
  std::size_t length;
  const char* s = escapeFrom(text, stop, scratch, length);
  sink.put(s, length);
  return std::strlen(text);
}

// The text of a number, as XmlAttributes::push and XmlEmitter::startElement write it
// (see xml/writer/xmlemitter.h). Made before anything is appended or written, so that a
// number outside the limits (std::out_of_range, naming the operation who) changes nothing.
struct NumberText {
  char text[24];
  unsigned int length;

  // A value of int or long: 32-bit signed meaning.
  static NumberText ofSigned(long long value, unsigned int radix, const char* who);
  // A value of unsigned int or unsigned long: 32-bit unsigned meaning.
  static NumberText ofUnsigned(unsigned long long value, unsigned int radix, const char* who);
  // A float (widened) or double, as "%f" writes it in the "C" locale.
  static NumberText ofFloat(double value, const char* who);
};

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_WRITER_DETAIL_PIECES_H
