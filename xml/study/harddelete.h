// xml/study/harddelete.h: records of the permanent deletion of patient data.
//
// A deletion is described as an element tree (xml/qvs/element.h): a patient element with
// "Order" children, orders with "Exam" children, exams with "Study" children, each with
// identifying attributes and an "IsDeleted" flag. The four record classes read such a
// tree into plain values: readQVS(element) copies every attribute text as it stands (a
// missing attribute gives an empty text) and reads the children of its child key in key
// order, ignoring children of other keys. It returns whether the element has an
// "IsDeleted" attribute; a child whose reading returns false is left out of its parent's
// list. Reading is forgiving: a std::exception while reading a record (typically
// QVS::Element::NoValueSetEx for an order or exam element without children) is logged at
// LM_ERROR, "<Class>::readQVS: Failed - Using partial defaults. Standard Exception:
// <what>.\n", and makes readQVS return false, keeping what was read before. readQVS does
// not empty the child list first. Reading sorts the tree's child lists, so the tree must
// not be in use by another thread meanwhile.
//
//   XmlPatientHardDeleteInfo patient;
//   if (patient.readQVS(tree))
//     for (const XmlOrderHardDeleteInfo& order : patient.getPatientOrders()) ...
#ifndef CORVANE_XML_STUDY_HARDDELETE_H
#define CORVANE_XML_STUDY_HARDDELETE_H

#include <vector>

#include <ace/SString.h>

#include "xml/export.h"
#include "xml/qvs/element.h"

// A study: attributes "StudyUID", "NoOfInstances", "IsDeleted"; no children.
class CORVANE_XML_API XmlStudyHardDeleteInfo {
 public:
  bool readQVS(const QVS::Element& element);

  const ACE_CString& getStudyUID() const { return uid_; }
  const ACE_CString& getStudyNoOfInstances() const { return instances_; }
  const ACE_CString& getStudyIsDeleted() const { return deleted_; }

 private:
  ACE_CString uid_;
  ACE_CString instances_;
  ACE_CString deleted_;
};

// An exam: attributes "AccessionNumber", "IsDeleted"; "Study" children.
class CORVANE_XML_API XmlExamHardDeleteInfo {
 public:
  bool readQVS(const QVS::Element& element);

  const ACE_CString& getExamAccessionNumber() const { return accession_; }
  const ACE_CString& getExamIsDeleted() const { return deleted_; }
  const std::vector<XmlStudyHardDeleteInfo>& getExamStudies() const { return studies_; }

 private:
  ACE_CString accession_;
  ACE_CString deleted_;
  std::vector<XmlStudyHardDeleteInfo> studies_;
};

// An order: attributes "PlacerOrderID", "FillerOrderID", "AccessionNumber", "IsDeleted";
// "Exam" children.
class CORVANE_XML_API XmlOrderHardDeleteInfo {
 public:
  bool readQVS(const QVS::Element& element);

  const ACE_CString& getOrderPlacerOrderID() const { return placer_; }
  const ACE_CString& getOrderFillerOrderID() const { return filler_; }
  const ACE_CString& getOrderAccessionNumber() const { return accession_; }
  const ACE_CString& getOrderIsDeleted() const { return deleted_; }
  const std::vector<XmlExamHardDeleteInfo>& getOrderExams() const { return exams_; }

 private:
  ACE_CString placer_;
  ACE_CString filler_;
  ACE_CString accession_;
  ACE_CString deleted_;
  std::vector<XmlExamHardDeleteInfo> exams_;
};

// A patient: attributes "MRN", "FirstName", "LastName", "DateOfBirth", "Sex",
// "IsDeleted"; "Order" children.
class CORVANE_XML_API XmlPatientHardDeleteInfo {
 public:
  bool readQVS(const QVS::Element& element);

  const ACE_CString& getPatientMRN() const { return mrn_; }
  const ACE_CString& getPatientFirstName() const { return firstName_; }
  const ACE_CString& getPatientLastName() const { return lastName_; }
  const ACE_CString& getPatientDateOfBirth() const { return dateOfBirth_; }
  const ACE_CString& getPatientSex() const { return sex_; }
  const ACE_CString& getPatientIsDeleted() const { return deleted_; }
  const std::vector<XmlOrderHardDeleteInfo>& getPatientOrders() const { return orders_; }

 private:
  ACE_CString mrn_;
  ACE_CString firstName_;
  ACE_CString lastName_;
  ACE_CString dateOfBirth_;
  ACE_CString sex_;
  ACE_CString deleted_;
  std::vector<XmlOrderHardDeleteInfo> orders_;
};

#endif  // CORVANE_XML_STUDY_HARDDELETE_H
