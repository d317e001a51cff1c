// xml/dom/codepage.cpp: decoding the text of XmlDocument::LoadXml from a Windows code page
// to the UTF-8 the engine parses.
//
// UTF-8 and Windows-1252 are the common cases and are decoded here without the system
// converter: well-formed UTF-8, and ASCII in any ASCII-based code page, goes to the engine
// as it is, without a copy. Every other code page goes through iconv straight to UTF-8.
// Bytes a code page cannot decode become U+FFFD; the text is never refused for them.
#include "xml/dom/detail/engine.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include <iconv.h>

#include "xml/detail/charsets.h"
#include "xml/dom/xmldocument.h"

namespace corvane_xml_detail {
namespace dom {

namespace {

const char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD in UTF-8

bool isUtf16(unsigned int codePage) { return codePage == 1200 || codePage == 1201; }

bool isWindows1252(unsigned int codePage) { return codePage == 0 || codePage == 3 || codePage == 1252; }

// Code pages whose bytes below 0x80 are ASCII with no shift states, so that an ASCII text
// is the same text in UTF-8.
bool isAsciiBased(unsigned int codePage) {
  return codePage == 65001 || isWindows1252(codePage) || codePage == 20127 ||
         (codePage >= 28591 && codePage <= 28605) || (codePage >= 1250 && codePage <= 1258);
}

// The system converter's name for the code page.
std::string iconvName(unsigned int codePage) {
  switch (codePage) {
    case 1200: return "UTF-16LE";
    case 1201: return "UTF-16BE";
    case 20127: return "US-ASCII";
    default: break;
  }
  if (codePage >= 28591 && codePage <= 28605) return "ISO-8859-" + std::to_string(codePage - 28590);
  return "CP" + std::to_string(codePage);
}

// Length of a UTF-16 text: up to its first 16-bit zero.
std::size_t utf16Length(const char* text) {
  std::size_t n = 0;
  while (text[n] != 0 || text[n + 1] != 0) n += 2;
  return n;
}

// Owns one iconv descriptor.
class Converter {
 public:
  explicit Converter(unsigned int codePage) : name_(iconvName(codePage)) {
    cd_ = iconv_open("UTF-8", name_.c_str());
    if (cd_ == reinterpret_cast<iconv_t>(-1)) {
      const int error = errno;
      raise(XmlDomError::InvalidArgument, "No conversion from code page " + std::to_string(codePage) + " (" +
                                              name_ + "): " + std::strerror(error));
    }
  }
  ~Converter() { iconv_close(cd_); }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // Converts n bytes at text to UTF-8 into out. A byte sequence the code page cannot
  // decode becomes U+FFFD and the conversion goes on after one unit (one byte, two for
  // UTF-16); a sequence cut short at the end becomes one U+FFFD.
  void convert(const char* text, std::size_t n, std::size_t unit, std::string& out) {
    out.resize(n + n / 2 + 64);
    char* in = const_cast<char*>(text);
    std::size_t inLeft = n;
    std::size_t used = 0;
    bool flushing = false;  // all input taken; a last call ends a stateful encoding
    for (;;) {
      char* o = &out[used];
      std::size_t outLeft = out.size() - used;
      const std::size_t r = flushing ? iconv(cd_, nullptr, nullptr, &o, &outLeft)
                                     : iconv(cd_, &in, &inLeft, &o, &outLeft);
      const int error = errno;
      used = out.size() - outLeft;
      if (r != static_cast<std::size_t>(-1)) {
        if (flushing) break;
        flushing = true;
      } else if (error == E2BIG) {
        out.resize(out.size() * 2);
      } else if (flushing) {
        break;
      } else {
        // EILSEQ, or EINVAL for a sequence cut short by the end of the text.
        if (out.size() - used < sizeof kReplacement) out.resize(out.size() * 2);
        std::memcpy(&out[used], kReplacement, sizeof kReplacement - 1);
        used += sizeof kReplacement - 1;
        const std::size_t skip = error == EILSEQ ? std::min(unit, inLeft) : inLeft;
        in += skip;
        inLeft -= skip;
        iconv(cd_, nullptr, nullptr, nullptr, nullptr);  // back to the initial state
      }
    }
    out.resize(used);
  }

 private:
  std::string name_;
  iconv_t cd_;
};

}  // namespace

void decodeCodePage(const char* text, unsigned int codePage, std::string& buffer, const char*& data,
                    std::size_t& size) {
  buffer.clear();
  if (isUtf16(codePage)) {
    Converter converter(codePage);
    converter.convert(text, utf16Length(text), 2, buffer);
    data = buffer.data();
    size = buffer.size();
    return;
  }
  const std::size_t n = std::strlen(text);
  if (codePage == 65001) {
    if (isWellFormedUtf8(text, n)) {
      data = text;
      size = n;
    } else {
      appendRepairedUtf8(text, n, buffer);
      data = buffer.data();
      size = buffer.size();
    }
    return;
  }
  if (isAsciiBased(codePage) && isAscii(text, n)) {
    data = text;
    size = n;
    return;
  }
  if (isWindows1252(codePage)) {
    appendAnsiAsUtf8(text, n, buffer);
  } else {
    Converter converter(codePage);
    converter.convert(text, n, 1, buffer);
  }
  data = buffer.data();
  size = buffer.size();
}

}  // namespace dom
}  // namespace corvane_xml_detail
