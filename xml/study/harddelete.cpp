// xml/study/harddelete.cpp: reading hard-delete records out of an element tree.
#include "xml/study/harddelete.h"

#include <exception>
#include <string>

#include <ace/Log_Msg.h>

#include "xml/detail/log.h"

namespace {

// The attribute and child keys, made once.
struct Keys {
  const ACE_CString mrn{"MRN"};
  const ACE_CString firstName{"FirstName"};
  const ACE_CString lastName{"LastName"};
  const ACE_CString dateOfBirth{"DateOfBirth"};
  const ACE_CString sex{"Sex"};
  const ACE_CString isDeleted{"IsDeleted"};
  const ACE_CString placerOrderId{"PlacerOrderID"};
  const ACE_CString fillerOrderId{"FillerOrderID"};
  const ACE_CString accessionNumber{"AccessionNumber"};
  const ACE_CString studyUid{"StudyUID"};
  const ACE_CString noOfInstances{"NoOfInstances"};
  const ACE_CString order{"Order"};
  const ACE_CString exam{"Exam"};
  const ACE_CString study{"Study"};
};

const Keys& keys() {
  static const Keys k;
  return k;
}

void logFailure(const char* record, const std::exception& e) {
  corvane_xml_detail::logText(LM_ERROR, __LINE__, 0,
                              std::string(record) +
                                  "::readQVS: Failed - Using partial defaults. Standard "
                                  "Exception: " +
                                  e.what() + ".\n");
}

// Appends a record of each child keyed key whose reading succeeds.
template <class Record>
void readChildren(const QVS::Element& element, const ACE_CString& key,
                  std::vector<Record>& records) {
  const QVS::MultiElementValue& children = element.getMultiElement();
  for (auto it = children.begin(key); it != children.end(key); ++it) {
    Record record;
    if (record.readQVS(**it)) records.push_back(record);
  }
}

}  // namespace

// Runs read, which assigns the fields and appends the children, for the record named
// record. Each attribute lookup in it overwrites found, so after the last one
// ("IsDeleted") found tells whether the element has that attribute: the record's result.
// A std::exception ends the reading with a log line and false; what was read stays.
namespace {

template <class Read>
bool readRecord(const char* record, Read read) {
  bool found = true;
  try {
    read(keys(), found);
  } catch (const std::exception& e) {
    logFailure(record, e);
    return false;
  }
  return found;
}

}  // namespace

bool XmlPatientHardDeleteInfo::readQVS(const QVS::Element& element) {
  return readRecord("XmlPatientHardDeleteInfo", [&](const Keys& k, bool& found) {
    mrn_ = element.getAttributeValue(k.mrn, found);
    firstName_ = element.getAttributeValue(k.firstName, found);
    lastName_ = element.getAttributeValue(k.lastName, found);
    dateOfBirth_ = element.getAttributeValue(k.dateOfBirth, found);
    sex_ = element.getAttributeValue(k.sex, found);
    deleted_ = element.getAttributeValue(k.isDeleted, found);
    readChildren(element, k.order, orders_);
  });
}

bool XmlOrderHardDeleteInfo::readQVS(const QVS::Element& element) {
  return readRecord("XmlOrderHardDeleteInfo", [&](const Keys& k, bool& found) {
    placer_ = element.getAttributeValue(k.placerOrderId, found);
    filler_ = element.getAttributeValue(k.fillerOrderId, found);
    accession_ = element.getAttributeValue(k.accessionNumber, found);
    deleted_ = element.getAttributeValue(k.isDeleted, found);
    readChildren(element, k.exam, exams_);
  });
}

bool XmlExamHardDeleteInfo::readQVS(const QVS::Element& element) {
  return readRecord("XmlExamHardDeleteInfo", [&](const Keys& k, bool& found) {
    accession_ = element.getAttributeValue(k.accessionNumber, found);
    deleted_ = element.getAttributeValue(k.isDeleted, found);
    readChildren(element, k.study, studies_);
  });
}

bool XmlStudyHardDeleteInfo::readQVS(const QVS::Element& element) {
  return readRecord("XmlStudyHardDeleteInfo", [&](const Keys& k, bool& found) {
    uid_ = element.getAttributeValue(k.studyUid, found);
    instances_ = element.getAttributeValue(k.noOfInstances, found);
    deleted_ = element.getAttributeValue(k.isDeleted, found);
  });
}
