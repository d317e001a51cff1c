// xml/log.cpp: the library's log lines.
#include <cerrno>

#include <ace/Log_Msg.h>

#include "xml/detail/log.h"
#include "xml/xmlstringconversion.h"

namespace corvane_xml_detail {

void logText(ACE_Log_Priority priority, int line, int status, const std::string& text) {
  logText(priority, "", line, status, text);
}

void logText(ACE_Log_Priority priority, const char* file, int line, int status, const std::string& text) {
  const int error = errno;
  ACE_Log_Msg* log = ACE_Log_Msg::instance();
  log->conditional_set(file, line, status, error);
  log->log(priority, "%s", text.c_str());
}

std::string logField(const XMLCh* text) {
  if (text == nullptr) return std::string();
  std::string out;
  for (std::size_t i = 0; text[i] != 0; ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c <= 0xDBFF && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (c >> 18)));
      out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

}  // namespace corvane_xml_detail
