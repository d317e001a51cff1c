// fuzz/datetime_fuzz.cpp: Xml::GetDate, GetTime and GetDateTime over arbitrary UTF-16.
//
// The input's byte pairs are the text, copied into a buffer of exactly its length plus
// the terminator, so that a read past the end shows under AddressSanitizer. GetDateTime
// must give what GetDate and GetTime give; a valid date must write as a 19-character
// XML date-time.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz_support.h"
#include "xml/xml.h"
#include "xml/xmlstringconversion.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::size_t n = size / 2;
  std::unique_ptr<XMLCh[]> text(new XMLCh[n + 1]);
  std::size_t length = 0;
  for (; length < n; ++length) {
    const XMLCh c = static_cast<XMLCh>(data[2 * length] | (data[2 * length + 1] << 8));
    if (c == 0) break;
    text[length] = c;
  }
  text[length] = 0;

  BDate date;
  BTime time;
  BDateTime both;
  Xml::GetDate(text.get(), date);
  Xml::GetTime(text.get(), time);
  Xml::GetDateTime(text.get(), both);
  FUZZ_CHECK(both.GetDate() == date);
  FUZZ_CHECK(both.GetTime() == time);
  const ACE_CString written = LocalTimeToXMLDateTime(both, false);
  FUZZ_CHECK(date.IsValid() ? written.length() == 19 : written.length() == 0);
  return 0;
}
