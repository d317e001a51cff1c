// xml/qvs/element.cpp: Element, the value classes' simple operations, the exceptions.
#include "xml/qvs/element.h"

#include <cstring>
#include <memory>
#include <stdexcept>

#include "xml/qvs/detail/valuetree.h"

namespace QVS {

namespace {

// The list every element without attributes answers with. Built at load time and never
// changed, so concurrent readers are safe.
const AttributeVector kNoAttributes;

// White space by the classic "C" locale test; bytes 0x80 and above are not.
inline bool isClassicSpace(unsigned char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

}  // namespace

// ---------------------------------------------------------------------------------
// Exceptions

QVRException::~QVRException() = default;
const char* QVRException::what() const noexcept { return ""; }

Element::InvalidValueTypeEx::~InvalidValueTypeEx() = default;
const char* Element::InvalidValueTypeEx::what() const noexcept {
  return "QVS::Element: invalid value type.";
}

Element::NoValueSetEx::~NoValueSetEx() = default;
const char* Element::NoValueSetEx::what() const noexcept {
  return "QVS::Element: the element does not have a value.";
}

// ---------------------------------------------------------------------------------
// Element

Element::Element(const ACE_CString& key, int weight)
    : key_(key), weight_(weight), attributesInBlock_(false), attributes_(nullptr), value_(nullptr) {}

Element::Element(int length, const char* chars, int weight)
    : key_(chars, length > 0 ? static_cast<ACE_CString::size_type>(length) : 0),
      weight_(weight),
      attributesInBlock_(false),
      attributes_(nullptr),
      value_(nullptr) {}

void* Element::operator new(std::size_t size) { return ::operator new(size); }

void* Element::operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
  return ::operator new(size, tag);
}

void Element::operator delete(void* block) noexcept { ::operator delete(block); }

void Element::operator delete(void* block, const std::nothrow_t&) noexcept {
  ::operator delete(block);
}

Element::Element(const Element& other)
    : key_(other.key_),
      weight_(other.weight_),
      attributesInBlock_(false),
      attributes_(nullptr),
      value_(nullptr) {
  std::unique_ptr<AttributeVector> attributes;
  if (other.attributes_ != nullptr) attributes.reset(new AttributeVector(*other.attributes_));
  if (other.value_ != nullptr) value_ = ValueTree::clone(*other.value_);
  attributes_ = attributes.release();
}

Element& Element::operator=(const Element& other) {
  if (this == &other) return *this;
  // Copy everything first: other may lie inside this element's subtree.
  ACE_CString key(other.key_);
  std::unique_ptr<AttributeVector> attributes;
  if (other.attributes_ != nullptr) attributes.reset(new AttributeVector(*other.attributes_));
  std::unique_ptr<ValueBase> value;
  if (other.value_ != nullptr) value.reset(ValueTree::clone(*other.value_));

  key_.swap(key);
  weight_ = other.weight_;
  dropAttributes();
  attributes_ = attributes.release();
  adoptValue(value.release());
  return *this;
}

Element::~Element() {
  delete value_;
  dropAttributes();
}

void Element::dropAttributes() noexcept {
  if (attributesInBlock_) {
    attributes_->~AttributeVector();
    attributesInBlock_ = false;
  } else {
    delete attributes_;
  }
  attributes_ = nullptr;
}

void Element::adoptValue(ValueBase* value) noexcept {
  ValueBase* old = value_;
  value_ = value;
  delete old;
}

void Element::insertAttribute(const Attribute& attribute) {
  if (attributes_ == nullptr) attributes_ = new AttributeVector;
  attributes_->push_back(attribute);
}

void Element::insertAttribute(const ACE_CString& name, const ACE_CString& value) {
  if (attributes_ == nullptr) attributes_ = new AttributeVector;
  attributes_->emplace_back(name, value);
}

void Element::insertAttributes(const AttributeVector& attributes) {
  if (&attributes == attributes_) return;
  if (attributes_ == nullptr) {
    attributes_ = new AttributeVector(attributes);
  } else {
    *attributes_ = attributes;
  }
}

void Element::eraseAttribute(const ACE_CString& name) {
  if (attributes_ == nullptr) return;
  for (auto it = attributes_->begin(); it != attributes_->end(); ++it) {
    if (it->first == name) {
      attributes_->erase(it);
      return;
    }
  }
}

const ACE_CString& Element::getAttributeValue(const ACE_CString& name, bool& found) const {
  found = false;
  if (attributes_ != nullptr) {
    for (const Attribute& a : *attributes_) {
      if (a.first == name) {
        found = true;
        return a.second;
      }
    }
  }
  // Made on first use; the initialisation of a function-local static is thread-safe.
  static const ACE_CString empty;
  return empty;
}

Element::const_attribute_iterator Element::attributeBegin() const noexcept {
  return attributes().begin();
}

Element::const_attribute_iterator Element::attributeEnd() const noexcept {
  return attributes().end();
}

unsigned int Element::attributeSize() const noexcept {
  return attributes_ == nullptr ? 0u : static_cast<unsigned int>(attributes_->size());
}

const AttributeVector& Element::attributes() const noexcept {
  return attributes_ == nullptr ? kNoAttributes : *attributes_;
}

void Element::clearAttributes() noexcept { dropAttributes(); }

bool Element::hasEmptyValue() const {
  if (value_ == nullptr) return true;
  const ACE_CString text = value_->valueAsString();
  if (text.length() == 0) return false;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text.fast_rep());
  for (ACE_CString::size_type i = 0; i < text.length(); ++i) {
    if (!isClassicSpace(p[i])) return false;
  }
  return true;
}

const ValueBase& Element::value() const {
  if (value_ == nullptr) throw NoValueSetEx();
  return *value_;
}

ValueBase& Element::value(const ValueBase& v) {
  // Clone before deleting: v may be this element's value or lie inside it.
  ValueBase* copy = v.clone();
  adoptValue(copy);
  return *copy;
}

namespace {

template <class Kind>
Kind& valueAs(ValueBase* value, ValueBase::Type type) {
  if (value == nullptr) throw Element::NoValueSetEx();
  if (value->type() != type) throw Element::InvalidValueTypeEx();
  return static_cast<Kind&>(*value);
}

}  // namespace

SingleValue& Element::getSingle() { return valueAs<SingleValue>(value_, ValueBase::Single); }
const SingleValue& Element::getSingle() const {
  return valueAs<SingleValue>(value_, ValueBase::Single);
}
MultiValue& Element::getMulti() { return valueAs<MultiValue>(value_, ValueBase::Multi); }
const MultiValue& Element::getMulti() const {
  return valueAs<MultiValue>(value_, ValueBase::Multi);
}
MultiElementValue& Element::getMultiElement() {
  return valueAs<MultiElementValue>(value_, ValueBase::MultiElement);
}
const MultiElementValue& Element::getMultiElement() const {
  return valueAs<MultiElementValue>(value_, ValueBase::MultiElement);
}

SingleValue& Element::addSingle() {
  SingleValue* v = new SingleValue;
  adoptValue(v);
  return *v;
}

MultiValue& Element::addMulti() {
  MultiValue* v = new MultiValue;
  adoptValue(v);
  return *v;
}

MultiElementValue& Element::addMultiElement() {
  MultiElementValue* v = new MultiElementValue;
  adoptValue(v);
  return *v;
}

void Element::clear() noexcept { adoptValue(nullptr); }

Element* Element::clone() const { return new Element(*this); }

// ---------------------------------------------------------------------------------
// ValueBase, SingleValue

ValueBase::~ValueBase() = default;
ACE_CString ValueBase::valueAsString() const { return ACE_CString(); }

SingleValue::~SingleValue() = default;

ACE_CString SingleValue::valueAsString() const { return text_; }

SingleValue* SingleValue::clone() const {
  SingleValue* copy = new SingleValue;
  copy->text_ = text_;
  return copy;
}

void SingleValue::set(const char* s) { text_.set(s, true); }

void SingleValue::set(const char* s, unsigned int length) { text_.set(s, length, true); }

// ---------------------------------------------------------------------------------
// MultiValue

MultiValue::MultiValue() { items_.reserve(10); }

MultiValue::~MultiValue() { ValueTree::destroy(items_); }

ACE_CString MultiValue::valueAsString() const { return ValueTree::text(*this); }

MultiValue* MultiValue::clone() const {
  return static_cast<MultiValue*>(ValueTree::clone(*this));
}

namespace {

// Appends a new value to items without leaking it if the append throws.
template <class Kind>
Kind& appendNew(std::vector<ValueBase*>& items, Kind* value) {
  std::unique_ptr<Kind> owned(value);
  items.push_back(owned.get());
  return *owned.release();
}

}  // namespace

SingleValue& MultiValue::addSingle() { return appendNew(items_, new SingleValue); }
MultiValue& MultiValue::addMulti() { return appendNew(items_, new MultiValue); }
MultiElementValue& MultiValue::addMultiElement() {
  return appendNew(items_, new MultiElementValue);
}

ValueBase& MultiValue::addValue(const ValueBase& v) { return appendNew(items_, v.clone()); }

MultiElementValue& MultiValue::addMultiElement(const MultiElementValue& v) {
  return appendNew(items_, v.clone());
}

void MultiValue::addValue(ValueBase* v) {
  if (v == nullptr) throw std::invalid_argument("QVS::MultiValue::addValue: null value");
  appendNew(items_, v);
}

MultiValue::iterator MultiValue::erase(iterator it) {
  ValueBase* doomed = *it;
  iterator next = items_.erase(it);
  delete doomed;
  return next;
}

void MultiValue::clear() noexcept { ValueTree::destroy(items_); }

// ---------------------------------------------------------------------------------

Serializable::~Serializable() = default;

}  // namespace QVS
