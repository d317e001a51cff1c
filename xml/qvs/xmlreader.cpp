// xml/qvs/xmlreader.cpp: reading element trees from their XML form.
#include <deque>
#include <string>

#include "xml/detail/charsets.h"
#include "xml/qvs/detail/valuetree.h"
#include "xml/qvs/xmlutils.h"
#include "xml/sax/xmlparser.h"
#include "xml/xmlexception.h"

namespace QVS {

namespace {

const XMLCh kVal[] = {u'v', u'a', u'l', 0};

inline bool isVal(const XMLCh* name) {
  return name[0] == kVal[0] && name[1] == kVal[1] && name[2] == kVal[2] && name[3] == 0;
}

// One open XML element other than "val".
struct OpenElement {
  Element* element;
  MultiElementValue* elementList;  // where child elements go; none at first
  MultiValue* valueList;           // where "val" items go; none at first
};

// Builds the caller's element from the parser's callbacks.
class QVRXmlBaseBuilder : public XmlBaseBuilder {
 public:
  QVRXmlBaseBuilder(XmlInputSource& input, Element& root)
      : XmlBaseBuilder(input, nullptr), root_(root), collecting_(false) {}

  void startElement(const XMLCh* const name, const XmlAttributes& attributes) override {
    if (isVal(name)) {
      if (open_.empty()) {
        throw XmlException::ParserError(
            ACE_CString("QVS::XmlUtils::streamIn: the outermost element is named val"));
      }
      OpenElement& record = open_.back();
      if (record.valueList == nullptr) {
        record.valueList = &record.element->addMulti();
        record.elementList = nullptr;  // it was the value just replaced, if any
      }
    } else {
      corvane_xml_detail::wideToAnsi(name, key_);
      Element* element;
      if (open_.empty()) {
        root_.key(key_);
        element = &root_;
      } else {
        OpenElement& parent = open_.back();
        if (!parent.element->hasValue()) {
          parent.elementList = &parent.element->addMultiElement();
        } else if (parent.valueList != nullptr && parent.elementList == nullptr) {
          parent.elementList = &parent.valueList->addMultiElement();
        }
        // A new element without attributes, made in place: it is what a copy of
        // Element(key, -1) would be, without the copy.
        element = new Element(key_, -1);
        parent.elementList->addElement(element);
      }
      const unsigned int count = attributes.getLength();
      if (count > 0) {
        ValueTree::reserveAttributes(*element, count);
        for (unsigned int i = 0; i < count; ++i) {
          element->insertAttribute(attributes.getName(i), attributes.getValue(i));
        }
      }
      open_.push_back(OpenElement{element, nullptr, nullptr});
    }
    text_.clear();
    collecting_ = true;
  }

  void value(const XMLCh* const text) override {
    if (collecting_) text_.append(text);
  }

  void endElement(const XMLCh* const name) override {
    OpenElement& record = open_.back();
    if (collecting_ && !text_.empty()) {
      corvane_xml_detail::wideToAnsi(text_.c_str(), converted_);
      SingleValue& single = record.valueList != nullptr ? record.valueList->addSingle()
                                                        : record.element->addSingle();
      single.set(converted_.c_str(), static_cast<unsigned int>(converted_.length()));
    }
    if (isVal(name)) {
      record.elementList = nullptr;  // elements after this item start a new list
    } else {
      open_.pop_back();
    }
    text_.clear();
    collecting_ = false;
  }

 private:
  Element& root_;
  std::deque<OpenElement> open_;
  bool collecting_;
  std::u16string text_;
  ACE_CString key_;
  ACE_CString converted_;
};

}  // namespace

void XmlUtils::streamIn(InputStream& in, Element& root, const ACE_CString& name) {
  // The rules build on an element without value: a value the caller left is cleared.
  root.clear();
  XmlInputSource source(in, name);
  QVRXmlBaseBuilder builder(source, root);
  builder.build();
}

}  // namespace QVS
