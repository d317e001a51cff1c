// xml/detail/log.h: the library's log lines (internal).
#ifndef CORVANE_XML_DETAIL_LOG_H
#define CORVANE_XML_DETAIL_LOG_H

#include <string>

#include <ace/Log_Priority.h>
#include <xercesc/util/XercesDefs.hpp>

namespace corvane_xml_detail {

// Records the source location (an empty file name, line, status and the current errno)
// with ACE_Log_Msg, then logs text at priority. Lines are rendered by the library
// (ACE's own rendering of wide texts stops at the first character the C locale cannot
// show), so text is the whole line.
void logText(ACE_Log_Priority priority, int line, int status, const std::string& text);

// As above, with file as the record's source file name.
void logText(ACE_Log_Priority priority, const char* file, int line, int status, const std::string& text);

// A UTF-16 text for a log line, in UTF-8; null gives "".
std::string logField(const XMLCh* text);

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_DETAIL_LOG_H
