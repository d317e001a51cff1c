// examples/app/study_summary.cpp: reads a study document with XmlBuilder and writes a
// summary of it as an element tree, in the tree's XML form, to standard output.
//
//   study_summary examples/data/study.xml
#include <cstdio>
#include <iostream>
#include <string>

#include "xml/corvane_xml.h"

namespace {

// Patient's name (0010,0010) and the image position (0020,0032) read typed; every other
// tag as narrow text.
Xml::Type typeOf(unsigned long tag) {
  return tag == 0x00200032 ? Xml::FloatType : Xml::StringType;
}

// Collects what the summary needs; every other callback keeps its empty default.
class Summary : public XmlBuilder {
 public:
  using XmlBuilder::XmlBuilder;

  void startStudy(const ACE_CString& name, unsigned long) override { study = name; }
  void startSeries(const ACE_CString&, unsigned long) override { ++series; }
  void startImageTemplate(unsigned long) override { ++templates; }
  void startElement(unsigned long tag, const ACE_CString& value, const Xml::Operation&) override {
    ++values;
    if (tag == 0x00100010) patient = value;
  }
  void startElement(unsigned long, const std::vector<float>& position,
                    const Xml::Operation&) override {
    ++values;
    positions += position.size();
  }
  void startStudyDelta(const XMLCh* datetime, const ACE_CString& user) override {
    BDateTime when;
    Xml::GetDateTime(datetime, when);
    lastChange = LocalTimeToXMLDateTime(when, false);
    changedBy = user;
  }

  ACE_CString study, patient, lastChange, changedBy;
  int series = 0, templates = 0, values = 0;
  std::size_t positions = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: study_summary STUDY.xml\n";
    return 2;
  }
  InputFileStream file(argv[1]);
  if (!file.IsOpen()) {
    std::cerr << "study_summary: cannot open " << argv[1] << "\n";
    return 2;
  }
  XmlInputSource input(file, argv[1]);
  Summary summary(input, typeOf, nullptr);
  try {
    summary.build();
  } catch (const XmlException::XmlExceptionBase& e) {
    std::cerr << "study_summary: " << argv[1] << ": " << e.what() << "\n";
    return 1;
  }

  QVS::Element root("StudySummary");
  QVS::MultiElementValue& fields = root.addMultiElement();
  fields.addSingle("StudyUID").set(summary.study.c_str());
  fields.addSingle("PatientName").set(summary.patient.c_str());
  fields.addSingle("Series").set(std::to_string(summary.series).c_str());
  fields.addSingle("Templates").set(std::to_string(summary.templates).c_str());
  fields.addSingle("Values").set(std::to_string(summary.values).c_str());
  fields.addSingle("LastChange", {{"user", summary.changedBy}}).set(summary.lastChange.c_str());
  OutputFileStream out(stdout);
  QVS::XmlUtils::streamOut(root, out, QVS::XmlUtils::ByKey, "");
  return out.Flush() && !out.Failed() ? 0 : 1;
}
