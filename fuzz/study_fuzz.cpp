// fuzz/study_fuzz.cpp: XmlBuilder::build over arbitrary bytes, with a builder that takes
// every callback and touches every value it is given.
//
// Any input must end normally or in one of the library's XmlException classes. The
// builder has an empty entity directory, so external entities are refused, never
// opened. The type callback answers every kind and some that are none, by the tag.
// Documents that declare entities are skipped: the parser expands internal entities
// without limit at its defaults, which is documented, not a finding.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "xml/study/xmlbuilder.h"
#include "xml/xmlexception.h"

namespace {

Xml::Type typeOf(unsigned long tag) { return static_cast<Xml::Type>(tag % 7); }  // 0..6

std::size_t length(const XMLCh* text) {
  std::size_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

// Reads every value it gets, so that a bad pointer or length shows under the sanitizers.
class Toucher : public XmlBuilder {
 public:
  using XmlBuilder::XmlBuilder;
  std::size_t sum = 0;
  int depth = 0;

  void studyDocVersion(const ACE_CString& v) override { text(v); }
  void startStudy(const ACE_CString& n, unsigned long c) override { text(n), sum += c; }
  void startSeries(const ACE_CString& n, unsigned long c) override { text(n), sum += c; }
  void startImageTemplate(unsigned long c) override { sum += c; }
  void endImageTemplate() override { ++sum; }
  void startImageDelta(const ACE_CString& p) override { text(p); }
  void endImageDelta() override { ++sum; }
  void startStudyDelta(const XMLCh* d, const ACE_CString& u) override {
    if (d != nullptr) sum += length(d);
    text(u);
  }
  void startSeriesDelta(const ACE_CString& p, const XMLCh* d, const ACE_CString& u) override {
    text(p);
    if (d != nullptr) sum += length(d);
    text(u);
  }
  void startElement(unsigned long, const std::vector<XMLCh*>& v, const Xml::Operation& op) override {
    checkOp(op);
    for (const XMLCh* w : v) {
      if (w != nullptr) sum += length(w);
    }
  }
  void startElement(unsigned long, const XMLCh* v, const Xml::Operation& op) override {
    checkOp(op);
    FUZZ_CHECK(v != nullptr);
    sum += length(v);
  }
  void startElement(unsigned long, const std::vector<float>& v, const Xml::Operation& op) override {
    checkOp(op);
    for (float f : v) sum += f == f ? 1 : 0;
  }
  void startElement(unsigned long, float v, const Xml::Operation& op) override {
    checkOp(op);
    sum += v == v ? 1 : 0;
  }
  void startElement(unsigned long, const std::vector<unsigned long>& v, const Xml::Operation& op) override {
    checkOp(op);
    for (unsigned long n : v) FUZZ_CHECK(n <= 0xFFFFFFFFul);
  }
  void startElement(unsigned long, unsigned long v, const Xml::Operation& op) override {
    checkOp(op);
    FUZZ_CHECK(v <= 0xFFFFFFFFul);
  }
  void startElement(unsigned long, const std::vector<long>& v, const Xml::Operation& op) override {
    checkOp(op);
    for (long n : v) FUZZ_CHECK(n >= INT32_MIN && n <= INT32_MAX);
  }
  void startElement(unsigned long, long v, const Xml::Operation& op) override {
    checkOp(op);
    FUZZ_CHECK(v >= INT32_MIN && v <= INT32_MAX);
  }
  void startElement(unsigned long tag, const std::vector<ACE_CString>& v, const Xml::Operation& op) override {
    checkTag(tag);
    checkOp(op);
    for (const ACE_CString& s : v) text(s);
  }
  void startElement(unsigned long tag, const ACE_CString& v, const Xml::Operation& op) override {
    checkTag(tag);
    checkOp(op);
    text(v);
  }
  void startBinElement(unsigned long tag, const std::vector<ACE_CString>& v, const Xml::Operation& op) override {
    checkTag(tag);
    checkOp(op);
    for (const ACE_CString& s : v) text(s);
  }
  void startBinElement(unsigned long tag, const ACE_CString& v, const Xml::Operation& op) override {
    checkTag(tag);
    checkOp(op);
    text(v);
  }
  void startSequence(unsigned long tag, const Xml::Operation& op) override {
    checkTag(tag);
    checkOp(op);
  }
  void endSequence() override { ++sum; }
  void startSequenceValue() override { ++depth; }
  void endSequenceValue() override { --depth; }

 private:
  void text(const ACE_CString& s) {
    for (std::size_t i = 0; i < s.length(); ++i) sum += static_cast<unsigned char>(s[i]);
  }
  static void checkTag(unsigned long tag) { FUZZ_CHECK(tag <= 0xFFFFFFFFul); }
  static void checkOp(const Xml::Operation& op) {
    FUZZ_CHECK(op == Xml::PlusOp || op == Xml::MinusOp || op == Xml::ChangeOp);
  }
};

bool declaresEntities(const std::uint8_t* data, std::size_t size) {
  std::string letters;
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] != 0) letters += static_cast<char>(data[i]);
  }
  return letters.find("ENTITY") != std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::quietLog();
  if (declaresEntities(data, size)) return 0;
  InputMemStream bytes(data, static_cast<unsigned int>(size));
  XmlInputSource input(bytes, "fuzz.xml");
  XmlEntityDirectory directory;
  Toucher builder(input, typeOf, &directory);
  try {
    builder.build();
  } catch (const XmlException::XmlExceptionBase&) {
  }
  FUZZ_CHECK(builder.depth >= 0);
  return 0;
}
