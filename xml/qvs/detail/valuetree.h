// xml/qvs/detail/valuetree.h: whole-tree operations on element trees (internal).
//
// Trees may be hundreds of thousands of levels deep, so destruction, deep copy,
// equality, dump and the text of nested value lists walk them with explicit work lists
// on the heap instead of recursion that follows the depth.
#ifndef CORVANE_XML_QVS_DETAIL_VALUETREE_H
#define CORVANE_XML_QVS_DETAIL_VALUETREE_H

#include <iosfwd>
#include <vector>

#include "xml/qvs/element.h"

namespace QVS {

struct ValueTree {
  // The storage of the classes, for the walks below.
  static std::vector<ValueBase*>& items(const MultiValue& v) {
    return const_cast<std::vector<ValueBase*>&>(v.items_);
  }
  static std::vector<Element*>& elements(const MultiElementValue& v) { return v.elements_; }
  static ValueBase*& value(Element& e) { return e.value_; }
  // The attribute list of e (made if it has none), with room for count more attributes
  // in one allocation.
  static AttributeVector& reserveAttributes(Element& e, std::size_t count) {
    if (e.attributes_ == nullptr) e.attributes_ = new AttributeVector;
    e.attributes_->reserve(e.attributes_->size() + count);
    return *e.attributes_;
  }
  static const ValueBase* value(const Element& e) { return e.value_; }
  static ACE_CString& singleText(SingleValue& v) { return v.text_; }
  // Makes value (may be null) e's value without copying; the old one is deleted.
  static void adoptValue(Element& e, ValueBase* value) noexcept { e.adoptValue(value); }
  static MultiValue* newMulti(std::size_t capacity) { return new MultiValue(capacity); }
  // A new single value holding the length bytes at text (length > 0), made as one heap
  // block: the text lives at the end of the value's own storage (see valuetree.cpp).
  static SingleValue* newSingle(const char* text, std::size_t length);
  // A new element of weight -1, without key, followed in its own heap block by room bytes
  // for texts the caller places there (its key and attribute texts, as strings that do not
  // own their bytes); rest is where the room starts. With attributes, the element's
  // attribute list (empty, with room for that many) is in the block too.
  static Element* newElementInBlock(std::size_t attributes, std::size_t room, char*& rest);
  static ACE_CString& keyOf(Element& e) { return e.key_; }
  static AttributeVector& attributesOf(Element& e) { return *e.attributes_; }
  static MultiElementValue* newElements(std::size_t capacity, int sortState) {
    return new MultiElementValue(capacity, sortState);
  }
  static void sortByKey(const MultiElementValue& v) { v.sortByKey(); }
  static void sortByWeight(const MultiElementValue& v) { v.sortByWeight(); }

  // Deletes every item or element (and everything below them) and empties the list.
  static void destroy(std::vector<ValueBase*>& items) noexcept;
  static void destroy(std::vector<Element*>& elements) noexcept;

  // A deep copy of v that the caller owns.
  static ValueBase* clone(const ValueBase& v);
  // A new element with the key, weight and attributes of e, without value.
  static Element* shallowElement(const Element& e);

  static bool equal(const ValueBase& a, const ValueBase& b);
  static void dump(const ValueBase& v, std::ostream& os, unsigned int indent);
  static ACE_CString text(const MultiValue& v);
};

}  // namespace QVS

#endif  // CORVANE_XML_QVS_DETAIL_VALUETREE_H
