// xml/qvs/xmlreader.cpp: reading element trees from their XML form.
//
// The reader takes the parser's events directly, through a handler derived from the one
// behind XmlBaseBuilder::build (same parse run, same error reports): names and attribute
// texts go from the parser's UTF-16 straight into the tree's strings, and character data
// arrives with its length, instead of passing through an XmlAttributes and zero-
// terminated chunks. The rules are those of the element-level callbacks.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include <xercesc/sax/AttributeList.hpp>

#include "xml/detail/charsets.h"
#include "xml/qvs/detail/valuetree.h"
#include "xml/qvs/xmlutils.h"
#include "xml/sax/detail/xmlhandler.h"
#include "xml/sax/xmlparser.h"
#include "xml/xmlexception.h"

namespace QVS {

namespace {

inline bool isVal(const XMLCh* name) {
  return name[0] == u'v' && name[1] == u'a' && name[2] == u'l' && name[3] == 0;
}

inline bool isHighSurrogate(XMLCh u) { return u >= 0xD800 && u <= 0xDBFF; }
inline bool isLowSurrogate(XMLCh u) { return u >= 0xDC00 && u <= 0xDFFF; }

// A growing byte buffer whose length is set by the writer (no zero-filling on growth).
class Bytes {
 public:
  char* data() { return data_.get(); }
  std::size_t size() const { return size_; }
  void clear() { size_ = 0; }
  // Room for n more bytes after the present ones; returns where they start.
  char* extend(std::size_t n) {
    if (size_ + n > capacity_) {
      const std::size_t capacity = std::max(size_ + n, 2 * capacity_ + 64);
      std::unique_ptr<char[]> grown(new char[capacity]);
      if (size_ > 0) std::memcpy(grown.get(), data_.get(), size_);
      data_ = std::move(grown);
      capacity_ = capacity;
    }
    return data_.get() + size_;
  }
  void grow(std::size_t n) { size_ += n; }

 private:
  std::unique_ptr<char[]> data_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

// One open XML element other than "val".
struct OpenElement {
  Element* element;
  MultiElementValue* elementList;  // where child elements go; none at first
  MultiValue* valueList;           // where "val" items go; none at first
};

// Builds the caller's element from the parser's document events.
class TreeReader : public corvane_xml_detail::XmlHandler {
 public:
  TreeReader(XmlBaseBuilder& builder, Element& root)
      : XmlHandler(builder), root_(root), collecting_(false), pendingHigh_(false) {
    open_.reserve(64);
  }

  void startElement(const XMLCh* const name, xercesc::AttributeList& attributes) override {
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
    } else if (open_.empty()) {
      // The caller's element: its key and attributes are ordinary owning strings.
      const std::size_t n = narrow(name, false);
      root_.key(ACE_CString(scratch_.data(), n));
      const XMLSize_t count = attributes.getLength();
      if (count > 0) {
        AttributeVector& list = ValueTree::reserveAttributes(root_, count);
        for (XMLSize_t i = 0; i < count; ++i) {
          list.emplace_back();
          std::size_t m = narrow(attributes.getName(i), false);
          list.back().first.set(scratch_.data(), m, true);
          m = narrow(attributes.getValue(i), true);
          list.back().second.set(scratch_.data(), m, true);
        }
      }
      open_.push_back(OpenElement{&root_, nullptr, nullptr});
    } else {
      OpenElement& parent = open_.back();
      if (!parent.element->hasValue()) {
        parent.elementList = &parent.element->addMultiElement();
      } else if (parent.valueList != nullptr && parent.elementList == nullptr) {
        parent.elementList = &parent.valueList->addMultiElement();
      }
      // What a copy of Element(key, -1) would be, made with the key and the attribute
      // texts converted once, straight into the element's own heap block.
      const std::size_t n = corvane_xml_detail::wideLength(name);
      const XMLSize_t count = attributes.getLength();
      std::size_t room = n + 1;
      lengths_.clear();
      for (XMLSize_t i = 0; i < count; ++i) {
        lengths_.push_back(corvane_xml_detail::wideLength(attributes.getName(i)));
        lengths_.push_back(corvane_xml_detail::wideLength(attributes.getValue(i)));
        room += lengths_[2 * i] + lengths_[2 * i + 1] + 2;
      }
      char* rest = nullptr;
      Element* element = ValueTree::newElementInBlock(count, room, rest);
      rest = placeText(name, n, false, ValueTree::keyOf(*element), rest);
      parent.elementList->addElement(element);
      if (count > 0) {
        AttributeVector& list = ValueTree::attributesOf(*element);
        for (XMLSize_t i = 0; i < count; ++i) {
          list.emplace_back();
          // As XmlHandler converts them: names with "?" for the characters the code page
          // lacks, values keeping their low bytes.
          rest = placeText(attributes.getName(i), lengths_[2 * i], false, list.back().first, rest);
          rest = placeText(attributes.getValue(i), lengths_[2 * i + 1], true, list.back().second,
                           rest);
        }
      }
      open_.push_back(OpenElement{element, nullptr, nullptr});
    }
    text_.clear();
    pendingHigh_ = false;
    collecting_ = true;
  }

  // Converts each chunk as it comes. A surrogate pair split between two chunks is one
  // character: a high surrogate ending a chunk waits for the next one.
  void characters(const XMLCh* const chars, const XMLSize_t length) override {
    if (!collecting_ || length == 0) return;
    const XMLCh* units = chars;
    std::size_t n = length;
    if (pendingHigh_) {
      pendingHigh_ = false;
      *text_.extend(1) = '?';
      text_.grow(1);
      if (isLowSurrogate(units[0])) ++units, --n;
    }
    if (n > 0 && isHighSurrogate(units[n - 1])) {
      pendingHigh_ = true;
      --n;
    }
    text_.grow(corvane_xml_detail::wideToAnsi(units, n, text_.extend(n)));
  }

  void endElement(const XMLCh* const name) override {
    OpenElement& record = open_.back();
    if (collecting_) {
      if (pendingHigh_) {
        *text_.extend(1) = '?';
        text_.grow(1);
      }
      if (text_.size() > 0) {
        SingleValue* single = ValueTree::newSingle(text_.data(), text_.size());
        if (record.valueList != nullptr) {
          record.valueList->addValue(single);
        } else {
          ValueTree::adoptValue(*record.element, single);
        }
      }
    }
    if (isVal(name)) {
      record.elementList = nullptr;  // elements after this item start a new list
    } else {
      open_.pop_back();
    }
    text_.clear();
    pendingHigh_ = false;
    collecting_ = false;
  }

 private:
  // Converts the zero-terminated text into scratch_; returns the number of bytes.
  // Converts the n units of text into the room at out, zero-terminated, and points target
  // at it (a string that does not own its bytes); returns where the room goes on.
  static char* placeText(const XMLCh* text, std::size_t n, bool lowBytes, ACE_CString& target,
                         char* out) {
    const std::size_t m = lowBytes ? corvane_xml_detail::wideToAnsiKeepingLowBytes(text, n, out)
                                   : corvane_xml_detail::wideToAnsi(text, n, out);
    out[m] = 0;
    target.set(out, m, false);
    return out + m + 1;
  }

  std::size_t narrow(const XMLCh* text, bool lowBytes) {
    const std::size_t n = corvane_xml_detail::wideLength(text);
    scratch_.clear();
    char* out = scratch_.extend(n);
    return lowBytes ? corvane_xml_detail::wideToAnsiKeepingLowBytes(text, n, out)
                    : corvane_xml_detail::wideToAnsi(text, n, out);
  }

  Element& root_;
  std::vector<OpenElement> open_;
  std::vector<std::size_t> lengths_;  // of the attribute names and values of a start tag
  bool collecting_;    // from a start tag to the next end tag
  bool pendingHigh_;   // the collected text ends in a high surrogate not yet converted
  Bytes text_;         // the collected text, converted
  Bytes scratch_;      // a converted name or attribute text
};

}  // namespace

void XmlUtils::streamIn(InputStream& in, Element& root, const ACE_CString& name) {
  // The rules build on an element without value: a value the caller left is cleared.
  root.clear();
  XmlInputSource source(in, name);
  // The builder carries the parse's incomplete flag; the reader gets the events.
  XmlBaseBuilder builder(source, nullptr);
  TreeReader reader(builder, root);
  corvane_xml_detail::runParse(builder, reader, nullptr,
                               [&source](XmlParser& parser) { parser.parse(source); });
}

}  // namespace QVS
