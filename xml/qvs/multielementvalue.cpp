// xml/qvs/multielementvalue.cpp: the child-element list, its lazy sort and searches.
#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "xml/qvs/detail/valuetree.h"
#include "xml/qvs/element.h"

namespace QVS {

namespace {

enum SortState { kUnsorted = 0, kByKey = 1, kByWeight = 2 };

// Byte-wise comparison as unsigned values, a proper prefix first: ACE_CString's own
// operator<, without its detour through compare()'s sign.
inline bool keyLess(const ACE_CString& a, const ACE_CString& b) noexcept {
  const std::size_t la = a.length();
  const std::size_t lb = b.length();
  const int c = std::memcmp(a.fast_rep(), b.fast_rep(), la < lb ? la : lb);
  return c < 0 || (c == 0 && la < lb);
}

struct ByKey {
  bool operator()(const Element* a, const Element* b) const noexcept {
    return keyLess(a->key(), b->key());
  }
};

struct ByWeightThenKey {
  bool operator()(const Element* a, const Element* b) const noexcept {
    if (a->weight() != b->weight()) return a->weight() < b->weight();
    return keyLess(a->key(), b->key());
  }
};

// Probe comparisons for the binary searches: keys alone, or weights alone.
struct KeyProbe {
  bool operator()(const Element* e, const ACE_CString& key) const noexcept {
    return keyLess(e->key(), key);
  }
  bool operator()(const ACE_CString& key, const Element* e) const noexcept {
    return keyLess(key, e->key());
  }
};

struct WeightProbe {
  bool operator()(const Element* e, int weight) const noexcept { return e->weight() < weight; }
  bool operator()(int weight, const Element* e) const noexcept { return weight < e->weight(); }
};

// Sorts in place. Lists are often built in order already (a document written in key
// order and read back), so a linear check spares the sort in that case.
template <class Less>
void sortInPlace(std::vector<Element*>& elements, Less less) {
  if (!std::is_sorted(elements.begin(), elements.end(), less)) {
    std::sort(elements.begin(), elements.end(), less);
  }
}

// iterator and const_iterator of one vector designate the same positions.
inline MultiElementValue::iterator mutableAt(std::vector<Element*>& v,
                                             MultiElementValue::const_iterator it) {
  return v.begin() + (it - v.cbegin());
}

}  // namespace

// ---------------------------------------------------------------------------------

MultiElementValue::KeyNotFoundEx::KeyNotFoundEx(const ACE_CString& key)
    : message_("key ") {
  message_ += key;
  message_ += " not found.";
}

MultiElementValue::KeyNotFoundEx::KeyNotFoundEx(const KeyNotFoundEx& other)
    : QVRException(other), message_(other.message_) {}

MultiElementValue::KeyNotFoundEx& MultiElementValue::KeyNotFoundEx::operator=(
    const KeyNotFoundEx& other) {
  QVRException::operator=(other);
  message_ = other.message_;
  return *this;
}

MultiElementValue::KeyNotFoundEx::~KeyNotFoundEx() = default;

const char* MultiElementValue::KeyNotFoundEx::what() const noexcept {
  return message_.c_str();
}

// ---------------------------------------------------------------------------------

MultiElementValue::MultiElementValue() : sortState_(kUnsorted) { elements_.reserve(10); }

MultiElementValue::MultiElementValue(std::size_t capacity, int sortState)
    : sortState_(sortState) {
  elements_.reserve(capacity);
}

MultiElementValue::~MultiElementValue() { ValueTree::destroy(elements_); }

MultiElementValue* MultiElementValue::clone() const {
  return static_cast<MultiElementValue*>(ValueTree::clone(*this));
}

void MultiElementValue::sortByKey() const {
  if (sortState_ == kByKey) return;
  sortInPlace(elements_, ByKey());
  sortState_ = kByKey;
}

void MultiElementValue::sortByWeight() const {
  if (sortState_ == kByWeight) return;
  sortInPlace(elements_, ByWeightThenKey());
  sortState_ = kByWeight;
}

Element& MultiElementValue::append(Element* e) {
  std::unique_ptr<Element> owned(e);
  elements_.push_back(e);
  owned.release();
  sortState_ = kUnsorted;
  return *e;
}

Element& MultiElementValue::addElement(const Element& e) { return append(e.clone()); }

void MultiElementValue::addElement(Element* e) {
  if (e == nullptr) throw std::invalid_argument("QVS::MultiElementValue::addElement: null element");
  append(e);
}

Element& MultiElementValue::addElement(const ACE_CString& key,
                                       const AttributeVector& attributes, int weight) {
  std::unique_ptr<Element> e(new Element(key, weight));
  e->insertAttributes(attributes);
  return append(e.release());
}

namespace {

// A new element (key, attributes, weight); the attribute list is made only when there
// are attributes, so elements without any cost no allocation for them.
std::unique_ptr<Element> newElement(const ACE_CString& key, const AttributeVector& attributes,
                                    int weight) {
  std::unique_ptr<Element> e(new Element(key, weight));
  if (!attributes.empty()) e->insertAttributes(attributes);
  return e;
}

}  // namespace

SingleValue& MultiElementValue::addSingle(const ACE_CString& key,
                                          const AttributeVector& attributes, int weight) {
  std::unique_ptr<Element> e = newElement(key, attributes, weight);
  SingleValue& v = e->addSingle();
  append(e.release());
  return v;
}

MultiValue& MultiElementValue::addMulti(const ACE_CString& key, const AttributeVector& attributes,
                                        int weight) {
  std::unique_ptr<Element> e = newElement(key, attributes, weight);
  MultiValue& v = e->addMulti();
  append(e.release());
  return v;
}

MultiElementValue& MultiElementValue::addMultiElement(const ACE_CString& key,
                                                      const AttributeVector& attributes,
                                                      int weight) {
  std::unique_ptr<Element> e = newElement(key, attributes, weight);
  MultiElementValue& v = e->addMultiElement();
  append(e.release());
  return v;
}

ValueBase& MultiElementValue::addValue(const ACE_CString& key, const ValueBase& v,
                                       const AttributeVector& attributes, int weight) {
  std::unique_ptr<Element> e = newElement(key, attributes, weight);
  ValueBase& copy = e->value(v);
  append(e.release());
  return copy;
}

void MultiElementValue::assign(const_iterator first, const_iterator last) {
  // The range belongs to another list, so reserving here cannot move it.
  elements_.reserve(elements_.size() + static_cast<std::size_t>(last - first));
  for (; first != last; ++first) append((*first)->clone());
  sortState_ = kUnsorted;
}

void MultiElementValue::clear() noexcept { ValueTree::destroy(elements_); }

// ---------------------------------------------------------------------------------
// Positioned access

MultiElementValue::iterator MultiElementValue::begin() {
  sortByKey();
  return elements_.begin();
}

MultiElementValue::iterator MultiElementValue::end() {
  sortByKey();
  return elements_.end();
}

MultiElementValue::const_iterator MultiElementValue::begin() const {
  sortByKey();
  return elements_.cbegin();
}

MultiElementValue::const_iterator MultiElementValue::end() const {
  sortByKey();
  return elements_.cend();
}

MultiElementValue::const_iterator MultiElementValue::begin(const ACE_CString& key) const {
  sortByKey();
  return std::lower_bound(elements_.cbegin(), elements_.cend(), key, KeyProbe());
}

MultiElementValue::const_iterator MultiElementValue::end(const ACE_CString& key) const {
  sortByKey();
  return std::upper_bound(elements_.cbegin(), elements_.cend(), key, KeyProbe());
}

MultiElementValue::iterator MultiElementValue::begin(const ACE_CString& key) {
  return mutableAt(elements_, static_cast<const MultiElementValue*>(this)->begin(key));
}

MultiElementValue::iterator MultiElementValue::end(const ACE_CString& key) {
  return mutableAt(elements_, static_cast<const MultiElementValue*>(this)->end(key));
}

MultiElementValue::const_iterator MultiElementValue::beginW(int weight) const {
  sortByWeight();
  if (weight == -1) return elements_.cbegin();
  return std::lower_bound(elements_.cbegin(), elements_.cend(), weight, WeightProbe());
}

MultiElementValue::const_iterator MultiElementValue::endW(int weight) const {
  sortByWeight();
  if (weight == -1) return elements_.cend();
  return std::upper_bound(elements_.cbegin(), elements_.cend(), weight, WeightProbe());
}

MultiElementValue::iterator MultiElementValue::beginW(int weight) {
  return mutableAt(elements_, static_cast<const MultiElementValue*>(this)->beginW(weight));
}

MultiElementValue::iterator MultiElementValue::endW(int weight) {
  return mutableAt(elements_, static_cast<const MultiElementValue*>(this)->endW(weight));
}

// ---------------------------------------------------------------------------------
// Search, replace, erase

bool MultiElementValue::has(const ACE_CString& key) const {
  const_iterator it = begin(key);
  return it != elements_.cend() && !keyLess(key, (*it)->key());
}

const Element& MultiElementValue::getElement(const ACE_CString& key) const {
  const_iterator it = begin(key);
  if (it == elements_.cend() || keyLess(key, (*it)->key())) throw KeyNotFoundEx(key);
  return **it;
}

Element& MultiElementValue::getElement(const ACE_CString& key) {
  return const_cast<Element&>(static_cast<const MultiElementValue*>(this)->getElement(key));
}

Element& MultiElementValue::replace(const ACE_CString& key, const Element& e) {
  // Clone first: e may be one of the elements erased below.
  std::unique_ptr<Element> copy(e.clone());
  erase(key);
  return append(copy.release());
}

MultiElementValue::iterator MultiElementValue::erase(const ACE_CString& key) {
  iterator first = begin(key);
  iterator last = first;
  while (last != elements_.end() && !keyLess(key, (*last)->key())) ++last;
  for (iterator it = first; it != last; ++it) {
    Element* doomed = *it;
    *it = nullptr;
    delete doomed;
  }
  sortState_ = kUnsorted;
  return elements_.erase(first, last);
}

MultiElementValue::iterator MultiElementValue::erase(iterator it) {
  Element* doomed = *it;
  iterator next = elements_.erase(it);
  sortState_ = kUnsorted;
  delete doomed;
  return next;
}

template CORVANE_XML_API bool GetSingleValueFromMultiElement<BDate>(const MultiElementValue&,
                                                                   const ACE_CString&, BDate&);

}  // namespace QVS
