// xml/xml.h: the class Xml, a holder of static members shared by the library's families.
//
// Xml::initialize and Xml::finalize start and stop the Xerces parser runtime. The library
// calls them itself when it is loaded into and unloaded from a process; calling them
// again changes nothing. Each keeps one process-wide flag: once both have run, the
// runtime is never restarted in that process.
#ifndef CORVANE_XML_XML_H
#define CORVANE_XML_XML_H

#include "xml/export.h"

class CORVANE_XML_API Xml {
 public:
  Xml() = delete;

  // Starts the parser runtime once per process. A failure is written to standard error
  // ("Error during initialization! :" and the parser's message) and not reported
  // otherwise; parsers made afterwards then fail in the parser's own way.
  static void initialize();
  // Stops the parser runtime once per process.
  static void finalize();
};

#endif  // CORVANE_XML_XML_H
