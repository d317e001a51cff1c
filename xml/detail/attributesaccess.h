// xml/detail/attributesaccess.h: filling an XmlAttributes in place from the parser's
// UTF-16 texts (internal).
#ifndef CORVANE_XML_DETAIL_ATTRIBUTESACCESS_H
#define CORVANE_XML_DETAIL_ATTRIBUTESACCESS_H

#include <xercesc/util/XercesDefs.hpp>

#include "xml/detail/charsets.h"
#include "xml/writer/xmlemitter.h"

namespace corvane_xml_detail {

struct AttributesAccess {
  static void clear(XmlAttributes& list) { list.count_ = 0; }

  // Appends (name, "CDATA", value): the name converted to Windows-1252, the value as
  // ConvertWideCharToAnsi converts it; the entry's strings keep their buffers.
  static void pushWide(XmlAttributes& list, const XMLCh* name, const XMLCh* value) {
    if (list.count_ == list.entries_.size()) list.entries_.emplace_back();
    XmlAttributes::Entry& e = list.entries_[list.count_];
    wideToAnsi(name, e.name);
    e.type.set("CDATA", 5, true);
    wideToAnsiKeepingLowBytes(value, e.value);
    ++list.count_;
  }
};

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_DETAIL_ATTRIBUTESACCESS_H
