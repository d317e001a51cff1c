// fuzz/dom_fuzz.cpp: XmlDocument::LoadXml over arbitrary bytes, then SelectNodes("//*")
// and ToString.
//
// The first byte picks the code page (UTF-8, Windows-1252, ISO-8859-1, UTF-16LE), the
// rest is the text. Loading must answer true or false; a loaded document must print, and
// every element it selects must give its markup. Nothing may throw but XmlDomError.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "xml/dom/xmldocument.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::quietLog();
  if (size == 0) return 0;
  static const unsigned int kCodePages[] = {65001, 1252, 28591, 1200};
  const unsigned int codePage = kCodePages[data[0] % 4];
  std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  text.append(2, '\0');  // UTF-16 ends at a 16-bit zero
  try {
    XmlDocument document;
    if (!document.LoadXml(text.c_str(), codePage)) {
      FUZZ_CHECK(document.ToString().length() == 0);
      return 0;
    }
    XmlNode root = document.GetDocElementNode();
    std::vector<XmlNode> nodes;
    if (!root.IsNULL()) root.SelectNodes("//*", nodes);
    for (XmlNode& node : nodes) {
      FUZZ_CHECK(node.OuterXml().length() > 0);
      (void)node.InnerText();
    }
    FUZZ_CHECK(document.ToString().length() > 0);
  } catch (const XmlDomError&) {
  }
  return 0;
}
