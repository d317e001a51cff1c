// xml/detail/log.h: the library's log lines (internal).
#ifndef CORVANE_XML_DETAIL_LOG_H
#define CORVANE_XML_DETAIL_LOG_H

#include <ace/Log_Priority.h>

namespace corvane_xml_detail {

// Records the source location (an empty file name, line, status and the current errno)
// with ACE_Log_Msg, then logs the printf-style format (ACE's directives: %W for wchar_t
// text, %d, %C for char text) at priority.
void logLine(ACE_Log_Priority priority, int line, int status, const char* format, ...);

}  // namespace corvane_xml_detail

#endif  // CORVANE_XML_DETAIL_LOG_H
