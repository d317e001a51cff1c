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
  // Makes room for count more attributes of e in one allocation.
  static void reserveAttributes(Element& e, std::size_t count) {
    if (e.attributes_ == nullptr) e.attributes_ = new AttributeVector;
    e.attributes_->reserve(e.attributes_->size() + count);
  }
  static const ValueBase* value(const Element& e) { return e.value_; }
  static MultiValue* newMulti(std::size_t capacity) { return new MultiValue(capacity); }
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
