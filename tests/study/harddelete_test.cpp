// Tests of the hard-delete records.
#include "xml/study/harddelete.h"

#include <gtest/gtest.h>

#include "support/logcapture.h"

namespace {

using QVS::AttributeVector;
using QVS::Element;
using QVS::MultiElementValue;

AttributeVector study(const char* uid, bool deletedFlag = true) {
  AttributeVector a{{"StudyUID", uid}, {"NoOfInstances", "12"}};
  if (deletedFlag) a.push_back({"IsDeleted", "0"});
  return a;
}

Element make(const char* key, const AttributeVector& attributes) {
  Element e(key);
  e.insertAttributes(attributes);
  return e;
}

// A patient with two orders, each with one exam holding one study.
Element patientTree() {
  Element patient("Patient");
  patient.insertAttributes({{"MRN", "M1"}, {"FirstName", "John"}, {"LastName", "Doe"},
                            {"DateOfBirth", "19700101"}, {"Sex", "M"}, {"IsDeleted", "1"}});
  MultiElementValue& orders = patient.addMultiElement();
  for (const char* id : {"O2", "O1"}) {
    MultiElementValue& exams = orders.addMultiElement(
        "Order", {{"PlacerOrderID", id}, {"FillerOrderID", "F"}, {"AccessionNumber", "A"},
                  {"IsDeleted", "1"}});
    MultiElementValue& studies =
        exams.addMultiElement("Exam", {{"AccessionNumber", id}, {"IsDeleted", "1"}});
    studies.addElement("Study", study(id), -1);
  }
  orders.addSingle("Visit", {{"IsDeleted", "1"}}).set("ignored");
  return patient;
}

TEST(HardDelete, ReadsTheWholePatientTree) {
  const Element tree = patientTree();
  XmlPatientHardDeleteInfo patient;
  LogCapture capture;
  ASSERT_TRUE(patient.readQVS(tree));
  EXPECT_TRUE(capture.lines().empty());
  EXPECT_EQ("M1", patient.getPatientMRN());
  EXPECT_EQ("John", patient.getPatientFirstName());
  EXPECT_EQ("Doe", patient.getPatientLastName());
  EXPECT_EQ("19700101", patient.getPatientDateOfBirth());
  EXPECT_EQ("M", patient.getPatientSex());
  EXPECT_EQ("1", patient.getPatientIsDeleted());
  ASSERT_EQ(2u, patient.getPatientOrders().size());
  // Children sharing a key come in the key range's order (stable: insertion order).
  const XmlOrderHardDeleteInfo& order = patient.getPatientOrders()[0];
  EXPECT_EQ("O2", order.getOrderPlacerOrderID());
  EXPECT_EQ("F", order.getOrderFillerOrderID());
  EXPECT_EQ("A", order.getOrderAccessionNumber());
  EXPECT_EQ("1", order.getOrderIsDeleted());
  ASSERT_EQ(1u, order.getOrderExams().size());
  const XmlExamHardDeleteInfo& exam = order.getOrderExams()[0];
  EXPECT_EQ("O2", exam.getExamAccessionNumber());
  ASSERT_EQ(1u, exam.getExamStudies().size());
  EXPECT_EQ("O2", exam.getExamStudies()[0].getStudyUID());
  EXPECT_EQ("12", exam.getExamStudies()[0].getStudyNoOfInstances());
  EXPECT_EQ("0", exam.getExamStudies()[0].getStudyIsDeleted());  // text, not a flag

  // A second read appends behind the first one's children; copies are deep.
  XmlPatientHardDeleteInfo copy = patient;
  ASSERT_TRUE(patient.readQVS(tree));
  EXPECT_EQ(4u, patient.getPatientOrders().size());
  EXPECT_EQ(2u, copy.getPatientOrders().size());
}

TEST(HardDelete, MissingIsDeletedDropsTheRecordButKeepsItsFields) {
  Element exam = make("Exam", {{"AccessionNumber", "A"}, {"IsDeleted", "1"}});
  MultiElementValue& studies = exam.addMultiElement();
  studies.addElement("Study", study("S1", false), -1);
  studies.addElement("Study", study("S2"), -1);
  XmlExamHardDeleteInfo record;
  EXPECT_TRUE(record.readQVS(exam));
  ASSERT_EQ(1u, record.getExamStudies().size());
  EXPECT_EQ("S2", record.getExamStudies()[0].getStudyUID());

  XmlStudyHardDeleteInfo alone;
  EXPECT_FALSE(alone.readQVS(make("Study", study("S1", false))));
  EXPECT_EQ("S1", alone.getStudyUID());
  EXPECT_EQ("", alone.getStudyIsDeleted());

  // Only the last lookup decides: missing earlier attributes are no failure.
  XmlPatientHardDeleteInfo patient;
  Element bare = make("Patient", {{"IsDeleted", "1"}});
  bare.addMultiElement().addSingle("Visit").set("x");
  EXPECT_TRUE(patient.readQVS(bare));
  EXPECT_EQ("", patient.getPatientMRN());
  EXPECT_TRUE(patient.getPatientOrders().empty());
}

TEST(HardDelete, ExamWithoutChildrenLogsAndIsLeftOut) {
  Element order = make("Order", {{"PlacerOrderID", "P"}, {"IsDeleted", "1"}});
  order.addMultiElement().addElement("Exam", {{"AccessionNumber", "A"}, {"IsDeleted", "1"}}, -1);
  XmlOrderHardDeleteInfo record;
  LogCapture capture;
  EXPECT_TRUE(record.readQVS(order));
  EXPECT_TRUE(record.getOrderExams().empty());
  ASSERT_EQ(1u, capture.lines().size());
  EXPECT_EQ(LM_ERROR, capture.lines()[0].priority);
  EXPECT_EQ("XmlExamHardDeleteInfo::readQVS: Failed - Using partial defaults. Standard Exception: "
            "QVS::Element: the element does not have a value..\n",
            capture.lines()[0].text);

  // The failing record itself keeps what it read before the exception.
  XmlExamHardDeleteInfo exam;
  const Element& child = **order.getMultiElement().begin("Exam");
  EXPECT_FALSE(exam.readQVS(child));
  EXPECT_EQ("A", exam.getExamAccessionNumber());
  EXPECT_EQ("1", exam.getExamIsDeleted());
}

TEST(HardDelete, EachClassLogsItsOwnName) {
  Element single = make("X", {{"IsDeleted", "1"}});
  single.addSingle().set("text");
  LogCapture capture;
  EXPECT_FALSE(XmlPatientHardDeleteInfo().readQVS(single));
  EXPECT_FALSE(XmlOrderHardDeleteInfo().readQVS(single));
  EXPECT_FALSE(XmlExamHardDeleteInfo().readQVS(Element("X")));
  ASSERT_EQ(3u, capture.lines().size());
  EXPECT_EQ(0u, capture.lines()[0].text.find("XmlPatientHardDeleteInfo::readQVS: Failed"));
  EXPECT_EQ(0u, capture.lines()[1].text.find("XmlOrderHardDeleteInfo::readQVS: Failed"));
  EXPECT_EQ(0u, capture.lines()[2].text.find("XmlExamHardDeleteInfo::readQVS: Failed"));
}

}  // namespace
