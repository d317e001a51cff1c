// tools/corvane-xml/study.cpp: `corvane-xml study`, one line per builder call.
//
// Each line is the call's name, then for tagged values the tag in eight hexadecimal
// digits and the operation (+, - or *), then the values: texts in double quotes (with \",
// \\, \n, \r and \t escaped), numbers as they read back, several values in brackets.
#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/XMLException.hpp>

#include "commands.h"
#include "common.h"
#include "xml/corvane_xml.h"

namespace tool {

namespace {

// The tag -> type map of --types; a plain function pointer must reach it, hence a global
// of the tool (one study is read per run).
std::map<unsigned long, Xml::Type> gTypes;

Xml::Type typeOf(unsigned long tag) {
  const auto it = gTypes.find(tag);
  return it == gTypes.end() ? Xml::StringType : it->second;
}

// TYPES: one "TAG TYPE" per line, TAG in hexadecimal (0x optional), TYPE one of string,
// wide, long, ulong, float, skip; "#" starts a comment.
void loadTypes(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw FileError(path + ": cannot open");
  static const std::map<std::string, Xml::Type> kNames = {
      {"string", Xml::StringType}, {"wide", Xml::WideStringType}, {"long", Xml::LongType},
      {"ulong", Xml::ULongType},   {"float", Xml::FloatType},     {"skip", Xml::Type(0)}};
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    line = line.substr(0, line.find('#'));
    std::istringstream fields(line);
    std::string tag, type, extra;
    if (!(fields >> tag)) continue;
    const auto where = path + ":" + std::to_string(number) + ": ";
    if (!(fields >> type) || (fields >> extra)) throw UsageError(where + "expected TAG TYPE");
    if (tag.size() > 2 && tag[0] == '0' && (tag[1] == 'x' || tag[1] == 'X')) tag.erase(0, 2);
    unsigned long value = 0;
    const auto r = std::from_chars(tag.data(), tag.data() + tag.size(), value, 16);
    if (r.ec != std::errc() || r.ptr != tag.data() + tag.size() || value > 0xFFFFFFFFul) {
      throw UsageError(where + "bad tag '" + tag + "'");
    }
    const auto t = kNames.find(type);
    if (t == kNames.end()) throw UsageError(where + "unknown type '" + type + "'");
    gTypes[value] = t->second;
  }
}

std::string quoted(const std::string& utf8) {
  std::string out = "\"";
  for (char c : utf8) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default: out += c;
    }
  }
  return out + "\"";
}

std::string show(const ACE_CString& s) { return quoted(toUtf8(s.c_str(), s.length())); }
std::string show(const XMLCh* s) {
  if (s == nullptr) return "null";
  Corvane::auto_ptr<char, Corvane::BasicDelete<char>> utf8(nullptr);
  ConvertWideCharToUTF8(s, utf8);
  return quoted(utf8.get());
}
std::string show(long v) { return std::to_string(v); }
std::string show(unsigned long v) { return std::to_string(v); }
std::string show(float v) {
  char buffer[32];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
  return std::string(buffer, r.ptr);
}
template <class T>
std::string show(const std::vector<T>& values) {
  std::string out = "[";
  for (std::size_t i = 0; i < values.size(); ++i) out += (i ? ", " : "") + show(values[i]);
  return out + "]";
}

std::string tagText(unsigned long tag) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%08lX", tag);
  return buffer;
}

const char* opText(const Xml::Operation& op) {
  return op == Xml::MinusOp ? "-" : op == Xml::ChangeOp ? "*" : "+";
}

class Printer : public XmlBuilder {
 public:
  Printer(XmlInputSource& input, std::FILE* out) : XmlBuilder(input, typeOf, nullptr), out_(out) {}

  void studyDocVersion(const ACE_CString& v) override { line("studyDocVersion " + show(v)); }
  void startStudy(const ACE_CString& n, unsigned long c) override {
    line("startStudy " + show(n) + " " + show(c));
  }
  void startSeries(const ACE_CString& n, unsigned long c) override {
    line("startSeries " + show(n) + " " + show(c));
  }
  void startImageTemplate(unsigned long c) override { line("startImageTemplate " + show(c)); }
  void endImageTemplate() override { line("endImageTemplate"); }
  void startImageDelta(const ACE_CString& p) override { line("startImageDelta " + show(p)); }
  void endImageDelta() override { line("endImageDelta"); }
  void startStudyDelta(const XMLCh* d, const ACE_CString& u) override {
    line("startStudyDelta " + show(d) + " " + show(u));
  }
  void startSeriesDelta(const ACE_CString& p, const XMLCh* d, const ACE_CString& u) override {
    line("startSeriesDelta " + show(p) + " " + show(d) + " " + show(u));
  }
  void startElement(unsigned long t, const std::vector<XMLCh*>& v, const Xml::Operation& op) override {
    tagged("startElement", t, op, show(v));
  }
  void startElement(unsigned long t, const XMLCh* v, const Xml::Operation& op) override {
    tagged("startElement", t, op, show(v));
  }
  void startElement(unsigned long t, const std::vector<float>& v, const Xml::Operation& op) override {
    tagged("startElement", t, op, show(v));
  }
  void startElement(unsigned long t, float v, const Xml::Operation& op) override {
    tagged("startElement", t, op, show(v));
  }
  void startElement(unsigned long t, const std::vector<unsigned long>& v,
                    const Xml::Operation& op) override {
    tagged("startElement", t, op, show(v));
  }
  void startElement(unsigned long t, unsigned long v, const Xml::Operation& op) override {
    tagged("startElement", t, op, show(v));
  }
  void startElement(unsigned long t, const std::vector<long>& v, const Xml::Operation& op) override {
    tagged("startElement", t, op, show(v));
  }
  void startElement(unsigned long t, long v, const Xml::Operation& op) override {
    tagged("startElement", t, op, show(v));
  }
  void startElement(unsigned long t, const std::vector<ACE_CString>& v,
                    const Xml::Operation& op) override {
    tagged("startElement", t, op, show(v));
  }
  void startElement(unsigned long t, const ACE_CString& v, const Xml::Operation& op) override {
    tagged("startElement", t, op, show(v));
  }
  void startBinElement(unsigned long t, const std::vector<ACE_CString>& v,
                       const Xml::Operation& op) override {
    tagged("startBinElement", t, op, show(v));
  }
  void startBinElement(unsigned long t, const ACE_CString& v, const Xml::Operation& op) override {
    tagged("startBinElement", t, op, show(v));
  }
  void startSequence(unsigned long t, const Xml::Operation& op) override {
    line("startSequence " + tagText(t) + " " + opText(op));
  }
  void endSequence() override { line("endSequence"); }
  void startSequenceValue() override { line("startSequenceValue"); }
  void endSequenceValue() override { line("endSequenceValue"); }

 private:
  void tagged(const char* call, unsigned long tag, const Xml::Operation& op, const std::string& values) {
    line(std::string(call) + " " + tagText(tag) + " " + opText(op) + " " + values);
  }
  void line(std::string text) {
    text += '\n';
    std::fwrite(text.data(), 1, text.size(), out_);
  }
  std::FILE* out_;
};

// The study handler, remembering the first fatal error for the error line.
class LocatingHandler : public XmlStudyHandler {
 public:
  using XmlStudyHandler::XmlStudyHandler;
  void fatalError(const xercesc::SAXParseException& e) override {
    if (!failed) {
      failed = true;
      line = e.getLineNumber();
      column = e.getColumnNumber();
      Corvane::auto_ptr<char, Corvane::BasicDelete<char>> text(nullptr);
      if (e.getMessage() != nullptr) {
        ConvertWideCharToUTF8(e.getMessage(), text);
        message = text.get();
      }
    }
    XmlStudyHandler::fatalError(e);
  }
  bool failed = false;
  unsigned long long line = 0, column = 0;
  std::string message;
};

}  // namespace

int runStudy(const std::vector<std::string>& args, bool verbose) {
  Arguments a(args, {}, {"--types"});
  a.expectOperands(1);
  if (a.has("--types")) loadTypes(a.value("--types", ""));
  const std::string& path = a.operands()[0];
  std::unique_ptr<InputFileStream> in = openInput(path);
  XmlInputSource input(*in, displayName(path).c_str());
  Printer printer(input, stdout);
  LocatingHandler handler(&printer);
  LogLines logs(verbose);
  XmlParser parser;
  parser.setDocumentHandler(handler);
  parser.setErrorHandler(handler);
  try {
    parser.parse(input);
  } catch (const std::exception& e) {
    throw DocumentError(displayName(path) + ": " + e.what());
  } catch (const xercesc::SAXException& e) {
    Corvane::auto_ptr<char, Corvane::BasicDelete<char>> text(nullptr);
    ConvertWideCharToUTF8(e.getMessage(), text);
    throw DocumentError(displayName(path) + ": " + text.get());
  } catch (const xercesc::XMLException& e) {
    Corvane::auto_ptr<char, Corvane::BasicDelete<char>> text(nullptr);
    ConvertWideCharToUTF8(e.getMessage(), text);
    throw DocumentError(displayName(path) + ": " + text.get());
  }
  std::fflush(stdout);
  if (handler.failed) {
    throw DocumentError(displayName(path) + ":" + std::to_string(handler.line) + ":" +
                        std::to_string(handler.column) + ": " + handler.message);
  }
  if (in->Failed()) throw FileError(displayName(path) + ": read error");
  return kOk;
}

}  // namespace tool
