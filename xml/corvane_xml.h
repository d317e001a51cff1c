// xml/corvane_xml.h: the whole public interface of libcorvane_xml in one include.
//
// Link corvane::xml (CMake) or `pkg-config --libs corvane_xml`, include this header,
// and every family is available: the common types (streams, dates, Base64, owning
// pointer), XML escaping and text conversions, the attribute list and streaming writer,
// the QVS element tree with its XML form, the SAX reading framework, study documents,
// hard-delete records, and the document object layer (XmlDocument, XmlNode).
#ifndef CORVANE_XML_CORVANE_XML_H
#define CORVANE_XML_CORVANE_XML_H

#include "xml/export.h"
#include "xml/common/common.h"
#include "xml/dom/xmldocument.h"
#include "xml/qvs/element.h"
#include "xml/qvs/xmlutils.h"
#include "xml/sax/xmlparser.h"
#include "xml/study/harddelete.h"
#include "xml/study/xmlbuilder.h"
#include "xml/writer/xmlemitter.h"
#include "xml/xml.h"
#include "xml/xmlexception.h"
#include "xml/xmlstringconversion.h"

#endif  // CORVANE_XML_CORVANE_XML_H
