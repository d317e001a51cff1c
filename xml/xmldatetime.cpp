// xml/xmldatetime.cpp: XML date-time text out of BDateTime, and the readers of the date
// and time texts of study documents.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "xml/detail/charsets.h"
#include "xml/detail/numbers.h"
#include "xml/xml.h"
#include "xml/xmlstringconversion.h"

using corvane_xml_detail::readLong;
using corvane_xml_detail::wideLength;

ACE_CString LocalTimeToXMLDateTime(BDateTime dateTime, bool withZone) {
  const BDate& date = dateTime.GetDate();
  if (!date.IsValid()) return ACE_CString();
  char suffix[16] = "";
  if (withZone) {
    long bias = 0;
    if (!BDateTime::GetTimeZoneBias(bias)) return ACE_CString();
    const long offset = -bias;
    const long minutes = std::labs(offset);
    std::snprintf(suffix, sizeof suffix, "%c%02ld:%02ld", offset < 0 ? '-' : '+',
                  minutes / 60 % 100, minutes % 60);
  }
  BTime time = dateTime.GetTime();
  if (!time.IsValid()) time = BTime(0, 0, 0);
  char text[64];
  std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02d:%02d:%02d%s", date.GetYear(),
                date.GetMonth(), date.GetDay(), time.GetHour(), time.GetMinute(), time.GetSecond(),
                suffix);
  return ACE_CString(text);
}

namespace {

// The number in characters [from, to) of text.
long field(const XMLCh* text, std::size_t from, std::size_t to) {
  return readLong(text + from, text + to);
}

bool contains(const XMLCh* text, std::size_t length, XMLCh c) {
  for (std::size_t i = 0; i < length; ++i) {
    if (text[i] == c) return true;
  }
  return false;
}

}  // namespace

void Xml::GetDate(const XMLCh* text, BDate& date) {
  date = BDate();
  if (text == nullptr) return;
  const std::size_t length = wideLength(text);
  long year, month, day;
  if (length >= 3 && text[2] == u'/') {  // MM/DD/YYYY
    if (length < 10) return;
    month = field(text, 0, 2);
    day = field(text, 3, 5);
    year = field(text, 6, 10);
  } else {  // YYYYMMDD
    if (length < 8) return;
    year = field(text, 0, 4);
    month = field(text, 4, 6);
    day = field(text, 6, 8);
  }
  if (year < 0 || month < 0 || day < 0) return;
  date = BDate(static_cast<unsigned int>(year), static_cast<unsigned int>(month),
               static_cast<unsigned int>(day));
}

void Xml::GetTime(const XMLCh* text, BTime& time) {
  time = BTime();
  if (text == nullptr) return;
  const std::size_t length = wideLength(text);
  std::size_t start = 0;
  while (start < length && text[start] != u' ') ++start;
  start = start < length ? start + 1 : 0;
  const XMLCh* part = text + start;
  const std::size_t partLength = length - start;

  long hour, minute, second;
  std::size_t fraction;
  if (contains(part, partLength, u':')) {  // HH:MM:SS
    if (partLength < 8) return;
    hour = field(part, 0, 2);
    minute = field(part, 3, 5);
    second = field(part, 6, 8);
    fraction = 9;
  } else {  // HHMMSS
    if (partLength < 6) return;
    hour = field(part, 0, 2);
    minute = field(part, 2, 4);
    second = field(part, 4, 6);
    fraction = 7;
  }
  long milliseconds = 0;
  if (contains(text, length, u'.')) {
    if (fraction > partLength) return;
    milliseconds = field(part, fraction, partLength);
  }
  const std::int64_t total =
      ((static_cast<std::int64_t>(hour) * 60 + minute) * 60 + second) * 1000 + milliseconds;
  if (total < 0 || total > UINT32_MAX) return;
  time = BTime(static_cast<unsigned int>(total));
}

void Xml::GetDateTime(const XMLCh* text, BDateTime& dateTime) {
  BDate date;
  BTime time;
  GetDate(text, date);
  GetTime(text, time);
  dateTime.SetDate(date);
  dateTime.SetTime(time);
}
