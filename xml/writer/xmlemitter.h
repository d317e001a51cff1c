// xml/writer/xmlemitter.h: the attribute list and the streaming XML writer.
//
// XmlAttributes is the ordered list of one element's attributes (name, type, value as
// narrow texts, copied in). XmlEmitter writes XML text piece by piece to a caller's
// OutputStream: each operation appends a fixed sequence of texts, each handed to the
// stream with one WriteBytes call; the caller decides structure, order and line
// breaks, and the writer checks nothing. Names in start tags, attribute names and
// values and text values are escaped with ConvertStringToXmlString; end-tag names and
// addValue texts are written as given. The emitter does not own its stream and never
// flushes it. Objects serve one thread at a time.
//
//   OutputMemStream out;
//   XmlEmitter xml(out);
//   XmlAttributes attributes;
//   attributes.push("id", "CDATA", "1");
//   xml.startDocument();                      // <?xml version="1.0" encoding="UTF-8"?>\r\n
//   xml.startElement("a", attributes, false); // <a id="1">
//   xml.startElement("n", 255, 16);           // <n>ff
//   xml.endElement("n", false);               // </n>
//   xml.endElement("a", false);               // </a>
//   xml.newline();                            // \r\n
//
// Number texts: integers are written in the given radix (2 to 36) with lower-case
// digits, no prefix and no leading zeros, in 32-bit meaning: int and long are signed
// and get a "-" only in radix 10 (-1 in radix 16 is "ffffffff"), unsigned int and
// unsigned long are unsigned. Floating-point values are written as printf's "%f" does
// in the "C" locale (1.5 -> "1.500000"). An integer text may have at most 15
// characters, a floating-point text at most 23; a radix outside 2 to 36, a longer
// text, or a long / unsigned long outside the 32-bit range throws std::out_of_range
// and writes or appends nothing.
#ifndef CORVANE_XML_WRITER_XMLEMITTER_H
#define CORVANE_XML_WRITER_XMLEMITTER_H

#include <vector>

#include <ace/SString.h>

#include "xml/common/common.h"
#include "xml/export.h"

namespace corvane_xml_detail {
struct AttributesAccess;
}

// XmlAttributes: the attributes of one element, in insertion order; names may repeat.
// Getters return pointers into the list's own strings, valid until the list changes;
// an index at or past getLength() or a name that no entry has gives a null pointer.
class CORVANE_XML_API XmlAttributes {
 public:
  XmlAttributes();
  XmlAttributes(const XmlAttributes& other);
  XmlAttributes& operator=(const XmlAttributes& other);
  virtual ~XmlAttributes();

  virtual unsigned int getLength() const;
  virtual const char* getName(unsigned int index) const;
  // By name: the first entry whose name equals name byte for byte.
  virtual const char* getType(const char* const name) const;
  virtual const char* getType(unsigned int index) const;
  virtual const char* getValue(const char* const name) const;
  virtual const char* getValue(unsigned int index) const;

  // By a plain int index, so that getValue(0) is not ambiguous; a negative index gives
  // a null pointer.
  const char* getName(int index) const { return getName(static_cast<unsigned int>(index)); }
  const char* getType(int index) const { return getType(static_cast<unsigned int>(index)); }
  const char* getValue(int index) const { return getValue(static_cast<unsigned int>(index)); }

  // Removes every entry.
  void clear();

  // Appends (name, type, value) with copies of the texts; a null pointer counts as "".
  void push(const char* name, const char* type, const char* value);
  // Appends the value's text in radix (see the number texts above).
  void push(const char* name, const char* type, int value, unsigned int radix = 10);
  void push(const char* name, const char* type, unsigned int value, unsigned int radix = 10);
  void push(const char* name, const char* type, long value, unsigned int radix = 10);
  void push(const char* name, const char* type, unsigned long value, unsigned int radix = 10);
  // Appends the value's "%f" text: push("w", "CDATA", 1.5f) stores "1.500000".
  void push(const char* name, const char* type, float value);
  void push(const char* name, const char* type, double value);

 private:
  friend struct corvane_xml_detail::AttributesAccess;

  struct Entry {
    ACE_CString name;
    ACE_CString type;
    ACE_CString value;
    Entry() = default;
    Entry(const Entry&) = default;
    Entry& operator=(const Entry&) = default;
    // ACE strings have no move; swapping their buffers keeps a growing list from
    // copying every text.
    Entry(Entry&& other) noexcept {
      name.swap(other.name);
      type.swap(other.type);
      value.swap(other.value);
    }
  };

  // Entries past count_ are kept after clear() so that refilling the list reuses their
  // buffers.
  std::vector<Entry> entries_;
  unsigned int count_;
};

// XmlEmitter: see the family comment above for the conventions. The bool arguments of
// startElement and endElement ask for indentation: endElement(name, true) lowers the
// depth by one and indents by two spaces per level while the depth is above 0. No
// operation raises the depth, so the writer writes no indentation and no line breaks of
// its own.
class CORVANE_XML_API XmlEmitter {
 public:
  explicit XmlEmitter(OutputStream& out);
  ~XmlEmitter();
  XmlEmitter(const XmlEmitter&) = delete;
  XmlEmitter& operator=(const XmlEmitter&) = delete;

  OutputStream& getStream();

  // <?xml version="1.0" encoding="UTF-8"?> and CR LF.
  void startDocument();
  // Writes nothing.
  void endDocument();
  // "<!DOCTYPE " name " [" CR LF.
  void documentTypeDecl(const char* const name);
  // "]>" without a line break.
  void endDocumentTypeDecl();
  // "<!ENTITY " name " SYSTEM " "\"" systemId "\">" CR LF.
  void entityDecl(const char* const name, const char* const systemId);
  // "&" name ";" CR LF.
  void entityReference(const char* const name);
  // "<?" target, then " " data when data is not null, then "?>".
  void processingInstruction(const char* const target, const char* const data);
  // Write nothing.
  void notationDecl(const char* const name, const char* const publicId,
                    const char* const systemId);
  void unparsedEntityDecl(const char* const name, const char* const publicId,
                          const char* const systemId, const char* const notationName);
  // CR LF.
  void newline();

  // "<" name, then per attribute " " name "=\"" value "\"", then ">"; all escaped.
  void startElement(const char* const name, const XmlAttributes& attributes, bool indent);
  // As startElement with attributes, closed by "/>".
  void startAndEndElement(const char* const name, const XmlAttributes& attributes);
  // startElement(name, attributes, false), then the escaped value.
  void startElement(const char* const name, const XmlAttributes& attributes, const char* value);
  // "<" name ">" and the escaped value.
  void startElement(const char* const name, const char* value);
  // "<" name ">" and the number text (not escaped).
  void startElement(const char* const name, int value, unsigned int radix = 10);
  void startElement(const char* const name, unsigned int value, unsigned int radix = 10);
  void startElement(const char* const name, long value, unsigned int radix = 10);
  void startElement(const char* const name, unsigned long value, unsigned int radix = 10);
  void startElement(const char* const name, float value);
  void startElement(const char* const name, double value);

  // The text unchanged, then one space.
  void addValue(const char* const text);
  // "</" name ">", the name unchanged.
  void endElement(const char* const name, bool indent);

 private:
  void startTag(const char* name, const XmlAttributes& attributes);
  void numberElement(const char* name, const char* text, unsigned int length);

  int depth_;
  OutputStream& out_;
};

#endif  // CORVANE_XML_WRITER_XMLEMITTER_H
