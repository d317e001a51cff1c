// examples/tree_demo.cpp: build an element tree, find children by key, walk them by
// weight, and print the tree's dump.
#include <iostream>

#include "xml/corvane_xml.h"

int main() {
  QVS::Element study("Study");
  QVS::MultiElementValue& children = study.addMultiElement();

  // Children are appended in any order; the weight says where they go in a walk.
  children.addSingle("StudyDate", QVS::AttributeVector(), 2).set("2009-03-07");
  children.addSingle("PatientName", {{"encoding", "latin1"}}, 1).set("Doe^John");
  QVS::MultiValue& spacing = children.addMulti("PixelSpacing", QVS::AttributeVector(), 3);
  spacing.addSingle().set("0.5");
  spacing.addSingle().set("0.25");
  QVS::MultiElementValue& series = children.addMultiElement("Series", QVS::AttributeVector(), 4);
  series.addSingle("Modality", QVS::AttributeVector(), 1).set("CT");
  series.addSingle("Number", QVS::AttributeVector(), 2).set("1");

  // Keyed access sorts the list by key once, then searches it.
  std::cout << "PatientName = " << children.getElement("PatientName").getSingle().value() << '\n';
  BDate date;
  if (QVS::GetSingleValueFromMultiElement(children, "StudyDate", date)) {
    std::cout << "StudyDate   = " << date << '\n';
  }
  std::cout << "has Comment = " << (children.has("Comment") ? "yes" : "no") << '\n';
  try {
    children.getElement("Comment");
  } catch (const QVS::QVRException& e) {
    std::cout << "getElement(\"Comment\") throws: " << e.what() << '\n';
  }

  // A walk in key order, then in weight order (-1 selects every weight).
  std::cout << "\nby key:   ";
  for (auto it = children.begin(); it != children.end(); ++it) std::cout << (*it)->key() << ' ';
  std::cout << "\nby weight:";
  for (auto it = children.beginW(-1); it != children.endW(-1); ++it) {
    std::cout << ' ' << (*it)->weight() << ':' << (*it)->key();
  }

  // A deep copy is independent of its source.
  QVS::Element copy(study);
  copy.getMultiElement().erase("Series");
  std::cout << "\n\ncopy has Series: " << (copy.getMultiElement().has("Series") ? "yes" : "no")
            << ", original has Series: " << (children.has("Series") ? "yes" : "no") << '\n';

  std::cout << "\ndump of " << study.key() << ':';
  study.value().dump(std::cout, 0);
  std::cout << std::flush;
  return 0;
}
