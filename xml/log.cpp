// xml/log.cpp: the library's log lines.
#include <cerrno>
#include <cstdarg>

#include <ace/Log_Msg.h>

#include "xml/detail/log.h"

namespace corvane_xml_detail {

void logLine(ACE_Log_Priority priority, int line, int status, const char* format, ...) {
  const int error = errno;
  ACE_Log_Msg* log = ACE_Log_Msg::instance();
  log->conditional_set("", line, status, error);
  va_list args;
  va_start(args, format);
  log->log(priority, format, args);
  va_end(args);
}

}  // namespace corvane_xml_detail
