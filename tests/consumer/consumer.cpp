// tests/consumer/consumer.cpp: a program that uses the library as a client would,
// through the umbrella header only. Exits 0 when the library answers as expected.
#include <iostream>
#include <sstream>

#include "xml/corvane_xml.h"

int main() {
  QVS::Element root("root");
  QVS::MultiElementValue& list = root.addMultiElement();
  list.addSingle("b").set("2");
  list.addSingle("a").set("1");
  std::ostringstream dump;
  root.value().dump(dump, 0);
  if (dump.str() != "\n\tkey = <a> value = 1\n\tkey = <b> value = 2\n") return 1;
  try {
    list.getElement("c");
    return 2;
  } catch (const QVS::MultiElementValue::KeyNotFoundEx& e) {  // typeinfo crosses the boundary
    if (std::string(e.what()) != "key c not found.") return 3;
  }
  // The document layer, whose engine the consumer never sees.
  XmlDocument doc;
  if (!doc.LoadXml("<a x='1'/>")) return 4;
  XmlNode a = doc.GetDocElementNode();
  if (std::string(a.GetAttribute("x").c_str()) != "1") return 5;
  try {
    a.ParentNode().GetAttribute("x");
    return 6;
  } catch (const XmlDomError& e) {  // so does this one
    if (e.status() != XmlDomError::InvalidPointer) return 7;
  }
  std::cout << "consumer ok\n";
  return 0;
}
