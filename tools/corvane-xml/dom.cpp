// tools/corvane-xml/dom.cpp: `corvane-xml validate` and `corvane-xml select`, over the
// document object layer.
#include <iostream>
#include <string>

#include "commands.h"
#include "common.h"
#include "xml/corvane_xml.h"

namespace tool {

namespace {

// Loads a file (or standard input) whole. UTF-16 with a byte order mark is read as such,
// anything else as UTF-8 (the usual case, and what the declaration of most documents
// says). A document that does not parse is a DocumentError carrying the engine's reason.
XmlDocument load(const std::string& path, bool verbose) {
  const std::string original = readAll(path);
  std::string bytes = original;
  unsigned int codePage = 65001;
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
      static_cast<unsigned char>(bytes[1]) == 0xFE) {
    codePage = 1200;
    bytes.erase(0, 2);
  } else if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFE &&
             static_cast<unsigned char>(bytes[1]) == 0xFF) {
    codePage = 1201;
    bytes.erase(0, 2);
  }
  bytes.append(2, '\0');  // the UTF-16 forms end at a 16-bit zero
  XmlDocument document;
  LogLines logs(verbose);
  if (!document.LoadXml(bytes.c_str(), codePage)) {
    std::string reason = "does not parse";
    for (const std::string& line : logs.lines()) {
      const std::size_t at = line.find("Reason: ");
      if (at != std::string::npos) reason = line.substr(at + 8);
    }
    while (!reason.empty() && (reason.back() == '\n' || reason.back() == '\r')) reason.pop_back();
    // The SAX parser locates the error by line and column; where it finds none (the
    // document layer also refuses undeclared namespace prefixes), the engine's reason
    // stands.
    LogLines saxLogs(verbose);
    XmlBaseBuilder check;
    try {
      check.build(reinterpret_cast<const unsigned char*>(original.data()), original.size());
    } catch (const std::exception&) {
      throw DocumentError(locate(path, saxLogs.lines(), reason));
    }
    throw DocumentError(displayName(path) + ": " + reason);
  }
  return document;
}

}  // namespace

int runValidate(const std::vector<std::string>& args, bool verbose) {
  Arguments a(args, {}, {});
  a.expectOperands(2);
  XmlDocument document = load(a.operands()[0], verbose);
  XmlDocument schema = load(a.operands()[1], verbose);
  LogLines logs(verbose);
  if (document.Validate(schema)) {
    std::cout << displayName(a.operands()[0]) << ": valid\n";
    return kOk;
  }
  const ACE_CString error = document.GetValidationError();
  if (error.length() == 0) {
    throw DocumentError(displayName(a.operands()[1]) + ": not an XML Schema document");
  }
  std::cout << displayName(a.operands()[0]) << ": invalid\n" << toUtf8(error.c_str(), error.length());
  if (error.length() != 0 && error[error.length() - 1] != '\n') std::cout << "\n";
  std::cout << std::flush;
  return kInvalid;
}

int runSelect(const std::vector<std::string>& args, bool verbose) {
  Arguments a(args, {}, {});
  a.expectOperands(2);
  XmlDocument document = load(a.operands()[0], verbose);
  XmlNode root = document.GetDocElementNode();
  std::vector<XmlNode> nodes;
  LogLines logs(verbose);
  try {
    // Relative expressions start at the root element; "//..." and "/..." search the
    // whole document.
    root.SelectNodes(a.operands()[1].c_str(), nodes);
  } catch (const XmlDomError& e) {
    throw UsageError("bad XPath expression '" + a.operands()[1] + "': " + e.what());
  }
  for (XmlNode& node : nodes) {
    const ACE_CString markup = node.OuterXml();
    std::cout << toUtf8(markup.c_str(), markup.length()) << "\n";
  }
  std::cout << std::flush;
  return kOk;
}

}  // namespace tool
