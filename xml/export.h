// xml/export.h: the export macro of libcorvane_xml.
//
// The library is built with hidden symbol visibility; everything a caller may use is
// marked CORVANE_XML_API, exception classes included so that callers can catch them
// by type across the library boundary.
#ifndef CORVANE_XML_EXPORT_H
#define CORVANE_XML_EXPORT_H

#if defined(_WIN32)
#  if defined(CORVANE_XML_BUILDING)
#    define CORVANE_XML_API __declspec(dllexport)
#  else
#    define CORVANE_XML_API __declspec(dllimport)
#  endif
#else
#  define CORVANE_XML_API __attribute__((visibility("default")))
#endif

#endif  // CORVANE_XML_EXPORT_H
