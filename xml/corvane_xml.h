// xml/corvane_xml.h: the whole public interface of libcorvane_xml in one include.
//
// Link corvane::xml (CMake) or `pkg-config --libs corvane_xml`, include this header,
// and every family is available: the common types (streams, dates, Base64, owning
// pointer) and the QVS element tree.
#ifndef CORVANE_XML_CORVANE_XML_H
#define CORVANE_XML_CORVANE_XML_H

#include "xml/export.h"
#include "xml/common/common.h"
#include "xml/qvs/element.h"

#endif  // CORVANE_XML_CORVANE_XML_H
