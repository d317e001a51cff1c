// xml/qvs/element.h: the keyed element tree (namespace QVS).
//
// The server's modules describe their objects as trees of QVS::Element. An element has
// a key, a signed weight (-1 when not given), an ordered list of (name, value)
// attributes and at most one value. A value is a SingleValue (one text), a MultiValue
// (an ordered list of values of any kind) or a MultiElementValue (an ordered list of
// child elements that sorts itself lazily by key or by weight for searching).
//
// Ownership: an element owns its attributes and its value; a value owns everything
// below it; copies (copy construction, assignment, clone()) are deep. Objects handed
// over by pointer (MultiValue::addValue(ValueBase*), MultiElementValue::addElement(
// Element*)) belong to the list from then on.
//
// Threads: nothing locks. A tree is used by one thread at a time; since even the const
// accessors of a MultiElementValue reorder the list, two threads must not read one tree
// at the same time either.
//
// Depth: copying, cloning, comparing, dumping and destroying work without recursion,
// so trees of any depth are safe.
//
//   QVS::Element root("Study");
//   QVS::MultiElementValue& children = root.addMultiElement();
//   children.addSingle("PatientName").set("Doe^John");
//   children.addSingle("StudyDate", QVS::AttributeVector(), 2).set("2009-03-07");
//   const QVS::Element& name = children.getElement("PatientName");  // sorts by key once
#ifndef CORVANE_XML_QVS_ELEMENT_H
#define CORVANE_XML_QVS_ELEMENT_H

#include <cstddef>
#include <new>
#include <exception>
#include <iosfwd>
#include <sstream>
#include <utility>
#include <vector>

#include <ace/SString.h>

#include "xml/common/common.h"
#include "xml/export.h"

namespace QVS {

class ValueBase;
class SingleValue;
class MultiValue;
class MultiElementValue;

// One attribute: (name, value).
typedef std::pair<ACE_CString, ACE_CString> Attribute;
// An element's attribute list, in insertion order; names may repeat.
typedef std::vector<Attribute> AttributeVector;

// Base of the element tree's exceptions; what() is "".
class CORVANE_XML_API QVRException : public std::exception {
 public:
  QVRException() noexcept = default;
  QVRException(const QVRException&) noexcept = default;
  QVRException& operator=(const QVRException&) noexcept = default;
  ~QVRException() override;
  const char* what() const noexcept override;
};

// Element: a key, a weight, attributes and at most one value. Not polymorphic.
class CORVANE_XML_API Element {
 public:
  // A value of another kind than the one asked for.
  // what(): "QVS::Element: invalid value type."
  class CORVANE_XML_API InvalidValueTypeEx : public QVRException {
   public:
    ~InvalidValueTypeEx() override;
    const char* what() const noexcept override;
  };
  // The element has no value.
  // what(): "QVS::Element: the element does not have a value."
  class CORVANE_XML_API NoValueSetEx : public QVRException {
   public:
    ~NoValueSetEx() override;
    const char* what() const noexcept override;
  };

  typedef AttributeVector::const_iterator const_attribute_iterator;

  // No attributes, no value.
  Element(const ACE_CString& key = "", int weight = -1);
  // The key is the first length bytes at chars (zero bytes included; chars must hold
  // that many); the length comes first. Element(3, "keyboard", 7) has key "key".
  Element(int length, const char* chars, int weight);
  // Deep copy of key, weight, attributes and value.
  Element(const Element& other);
  // Deep copy. Everything is copied before anything of this element is released, so
  // the source may lie inside this element's own subtree. Self-assignment does nothing.
  Element& operator=(const Element& other);
  ~Element();

  const ACE_CString& key() const noexcept { return key_; }
  // Replaces the key. A list holding the element does not notice: it searches in its
  // old order until its next change.
  void key(const ACE_CString& key) { key_ = key; }
  int weight() const noexcept { return weight_; }
  // Replaces the weight; as for key(), a holding list does not notice.
  void weight(int weight) noexcept { weight_ = weight; }

  // Appends one pair; a pair with the same name stays.
  void insertAttribute(const Attribute& attribute);
  void insertAttribute(const ACE_CString& name, const ACE_CString& value);
  // Replaces the whole list with a copy of attributes (it does not append). Passing
  // the element's own list does nothing.
  void insertAttributes(const AttributeVector& attributes);
  // Removes the first pair named name, if any; later pairs of that name stay.
  void eraseAttribute(const ACE_CString& name);
  // The value of the first pair named name, with found set to true; otherwise a
  // shared empty string that never changes, with found set to false.
  const ACE_CString& getAttributeValue(const ACE_CString& name, bool& found) const;
  const_attribute_iterator attributeBegin() const noexcept;
  const_attribute_iterator attributeEnd() const noexcept;
  unsigned int attributeSize() const noexcept;
  // The attribute list; an element without attributes answers with a shared empty list.
  const AttributeVector& attributes() const noexcept;
  // Discards the attribute list.
  void clearAttributes() noexcept;

  bool hasValue() const noexcept { return value_ != nullptr; }
  // True when there is no value, or when the value's valueAsString() is not empty and
  // consists of white space only (blank, \t, \n, \v, \f, \r). An empty single value,
  // an empty value list and any element list are not empty by this test.
  bool hasEmptyValue() const;

  // The value. Throws NoValueSetEx when there is none.
  const ValueBase& value() const;
  // Stores v.clone() in place of the current value and returns the copy. v may be the
  // element's own value or lie inside it.
  ValueBase& value(const ValueBase& v);

  // The value as the kind asked for. NoValueSetEx when there is no value,
  // InvalidValueTypeEx when it is of another kind; the element is not changed.
  SingleValue& getSingle();
  const SingleValue& getSingle() const;
  MultiValue& getMulti();
  const MultiValue& getMulti() const;
  MultiElementValue& getMultiElement();
  const MultiElementValue& getMultiElement() const;

  // Replace the value with a new empty value of that kind and return it.
  SingleValue& addSingle();
  MultiValue& addMulti();
  MultiElementValue& addMultiElement();

  // Deletes the value; key, weight and attributes stay.
  void clear() noexcept;

  // A deep copy that the caller owns.
  Element* clone() const;

  // Elements are allocated and freed through these, whole: the tree reader keeps an
  // element's key and attribute texts in the element's own heap block, so a delete frees
  // the block as it was allocated, whatever its size.
  static void* operator new(std::size_t size);
  static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
  static void* operator new(std::size_t, void* where) noexcept { return where; }
  static void operator delete(void* block) noexcept;
  static void operator delete(void* block, const std::nothrow_t&) noexcept;
  static void operator delete(void*, void*) noexcept {}

 private:
  friend class MultiElementValue;
  friend struct ValueTree;

  // Takes over value (may be null) without copying; the old value is deleted.
  void adoptValue(ValueBase* value) noexcept;

  // Frees the attribute list, which the reader may have placed in the element's block.
  void dropAttributes() noexcept;

  ACE_CString key_;
  int weight_;
  bool attributesInBlock_;  // attributes_ lives in this element's heap block
  AttributeVector* attributes_;
  ValueBase* value_;
};

// ValueBase: the abstract base of the three value kinds. Values are copied with
// clone(), never by value.
class CORVANE_XML_API ValueBase {
 public:
  enum Type { Single = 0, Multi = 1, MultiElement = 2 };

  // SingleValue: 1; MultiValue and MultiElementValue: the number of entries.
  virtual int size() const = 0;
  virtual Type type() const = 0;
  // A one-line text of the value; the base answers "".
  virtual ACE_CString valueAsString() const;
  virtual ~ValueBase();
  // A deep copy that the caller owns.
  virtual ValueBase* clone() const = 0;
  // Writes a readable text of the value for diagnostics; indent is the depth in tabs.
  // SingleValue: the text. MultiValue: "\n", indent + 1 tabs, then per item
  // "value <n>: " + the item's dump + " ". MultiElementValue: "\n", then per element in
  // weight order: indent + 1 tabs, "key = <key>", "<name, value> " per attribute,
  // " value = ", the value's dump, "\n". An element without value throws
  // Element::NoValueSetEx once its key and " value = " are written.
  virtual void dump(std::ostream& os, unsigned int indent) const = 0;

 protected:
  ValueBase() = default;
  ValueBase(const ValueBase&) = default;
  ValueBase& operator=(const ValueBase&) = default;
};

// SingleValue: one text, empty at construction; it may hold zero bytes.
class CORVANE_XML_API SingleValue : public ValueBase {
 public:
  SingleValue() = default;
  ~SingleValue() override;

  int size() const override { return 1; }
  Type type() const override { return Single; }
  // A copy of the text.
  ACE_CString valueAsString() const override;
  SingleValue* clone() const override;
  void dump(std::ostream& os, unsigned int indent) const override;

  const ACE_CString& value() const noexcept { return text_; }
  // Replaces the text with the zero-terminated s.
  void set(const char* s);
  // Replaces the text with exactly length bytes at s, zero bytes included.
  void set(const char* s, unsigned int length);

 private:
  friend struct ValueTree;

  void assign(ACE_CString& s) { text_ = s; }
  void assign(char* s) { text_ = s; }
  void assign(const char* s) { text_ = s; }
  // ACE_CString: copies the text. Other types: the text operator<< writes for them.
  template <class T>
  void assign(const T& value) {
    std::ostringstream out;
    out << value;
    const std::string text = out.str();
    text_.set(text.data(), text.size(), true);
  }

  ACE_CString text_;
};

template <>
inline void SingleValue::assign<ACE_CString>(const ACE_CString& value) {
  text_ = value;
}

// MultiValue: an ordered list of owned values of any kind, mixed.
class CORVANE_XML_API MultiValue : public ValueBase {
 public:
  typedef std::vector<ValueBase*>::iterator iterator;
  typedef std::vector<ValueBase*>::const_iterator const_iterator;

  // Reserves room for 10 items.
  MultiValue();
  ~MultiValue() override;
  MultiValue(const MultiValue&) = delete;
  MultiValue& operator=(const MultiValue&) = delete;

  int size() const override { return static_cast<int>(items_.size()); }
  Type type() const override { return Multi; }
  // The items' valueAsString() texts, each cut at its first zero byte, joined by one
  // blank, in list order; "" for an empty list. {'a', '', 'b'} gives "a  b".
  ACE_CString valueAsString() const override;
  MultiValue* clone() const override;
  void dump(std::ostream& os, unsigned int indent) const override;

  iterator begin() noexcept { return items_.begin(); }
  iterator end() noexcept { return items_.end(); }
  const_iterator begin() const noexcept { return items_.begin(); }
  const_iterator end() const noexcept { return items_.end(); }

  // Append a new empty value of that kind and return it.
  SingleValue& addSingle();
  MultiValue& addMulti();
  MultiElementValue& addMultiElement();
  // Append a clone of v and return the copy.
  ValueBase& addValue(const ValueBase& v);
  MultiElementValue& addMultiElement(const MultiElementValue& v);
  // Append v itself; the list owns it from now on. A null v throws
  // std::invalid_argument and appends nothing.
  void addValue(ValueBase* v);

  // Deletes the item at it and returns the position of the item that followed it.
  iterator erase(iterator it);
  // Deletes every item.
  void clear() noexcept;

 private:
  friend struct ValueTree;
  // An empty list with room for capacity items (clones reserve the source's size).
  explicit MultiValue(std::size_t capacity) { items_.reserve(capacity); }

  std::vector<ValueBase*> items_;
};

// MultiElementValue: an ordered list of owned child elements that sorts itself in
// place, lazily, into the order an access asks for.
//
// Key order: ascending by key, byte by byte as unsigned values, a proper prefix first
// ("B" < "a" < "ab"). Weight order: ascending by weight as a signed number, equal
// weights in key order. Elements that compare equal have no defined order among
// themselves.
//
// The list remembers its order (sortState(): 0 unsorted, 1 by key, 2 by weight).
// Keyed access and begin()/end() sort to key order if the list is not in it, weighted
// access to weight order; then they binary-search. Every operation that adds or removes
// elements sets the state to 0; clear() keeps it; clone() copies it. Changing the key or
// weight of a child in place does not reset it: searches then run on the old order
// until the next change. Since every positioned access may sort, iterators from
// accessors of different orders must not be combined.
class CORVANE_XML_API MultiElementValue : public ValueBase {
 public:
  typedef std::vector<Element*>::iterator iterator;
  typedef std::vector<Element*>::const_iterator const_iterator;

  // No key: getElement found no element with the key.
  // what(): "key " + key + " not found."
  class CORVANE_XML_API KeyNotFoundEx : public QVRException {
   public:
    explicit KeyNotFoundEx(const ACE_CString& key);
    KeyNotFoundEx(const KeyNotFoundEx& other);
    KeyNotFoundEx& operator=(const KeyNotFoundEx& other);
    ~KeyNotFoundEx() override;
    const char* what() const noexcept override;

   private:
    ACE_CString message_;
  };

  // Reserves room for 10 elements; the list starts unsorted.
  MultiElementValue();
  ~MultiElementValue() override;
  MultiElementValue(const MultiElementValue&) = delete;
  MultiElementValue& operator=(const MultiElementValue&) = delete;

  int size() const override { return static_cast<int>(elements_.size()); }
  Type type() const override { return MultiElement; }
  // A clone in the list's present order, with the same sort state.
  MultiElementValue* clone() const override;
  void dump(std::ostream& os, unsigned int indent) const override;

  // --- adding and removing (each sets the sort state to 0) ---

  // Appends e.clone() and returns the copy.
  Element& addElement(const Element& e);
  // Appends e itself; the list owns it from now on. A null e throws
  // std::invalid_argument and appends nothing.
  void addElement(Element* e);
  // Appends a new element without value, with that key and weight and a copy of the
  // attributes.
  Element& addElement(const ACE_CString& key, const AttributeVector& attributes, int weight);
  // Append a new element (key, attributes, weight) with a new empty value of that kind
  // and return the value.
  SingleValue& addSingle(const ACE_CString& key,
                         const AttributeVector& attributes = AttributeVector(),
                         int weight = -1);
  MultiValue& addMulti(const ACE_CString& key,
                       const AttributeVector& attributes = AttributeVector(),
                       int weight = -1);
  MultiElementValue& addMultiElement(const ACE_CString& key,
                                     const AttributeVector& attributes = AttributeVector(),
                                     int weight = -1);
  // Appends a new element (key, attributes, weight) whose value is v.clone(); returns
  // the copy.
  ValueBase& addValue(const ACE_CString& key, const ValueBase& v,
                      const AttributeVector& attributes = AttributeVector(),
                      int weight = -1);
  // Appends a clone of every element of [first, last), a range of another list; the
  // elements already here stay.
  void assign(const_iterator first, const_iterator last);
  // Deletes every element; the sort state stays.
  void clear() noexcept;

  // --- positioned access in key order ---

  // The whole list in key order.
  iterator begin();
  iterator end();
  const_iterator begin() const;
  const_iterator end() const;
  // [begin(key), end(key)) holds exactly the elements with that key.
  iterator begin(const ACE_CString& key);
  iterator end(const ACE_CString& key);
  const_iterator begin(const ACE_CString& key) const;
  const_iterator end(const ACE_CString& key) const;

  // --- positioned access in weight order ---

  // [beginW(w), endW(w)) holds exactly the elements of weight w, in key order; -1
  // selects the whole list in weight order.
  iterator beginW(int weight);
  iterator endW(int weight);
  const_iterator beginW(int weight) const;
  const_iterator endW(int weight) const;

  // --- the present order, without sorting ---

  iterator beginNoSort() noexcept { return elements_.begin(); }
  iterator endNoSort() noexcept { return elements_.end(); }
  const_iterator beginNoSort() const noexcept { return elements_.begin(); }
  const_iterator endNoSort() const noexcept { return elements_.end(); }

  // --- search, replace, erase ---

  // Whether an element has that key.
  bool has(const ACE_CString& key) const;
  // The first element with that key in key order; KeyNotFoundEx when there is none.
  Element& getElement(const ACE_CString& key);
  const Element& getElement(const ACE_CString& key) const;
  // Clones e, erases every element with that key, appends the clone and returns it.
  // e may be one of the erased elements; the clone is appended even when no element
  // had the key, and its own key need not be key.
  Element& replace(const ACE_CString& key, const Element& e);
  // Deletes every element with that key; returns the position where they stood.
  iterator erase(const ACE_CString& key);
  // Deletes the element at it (an iterator into this list) and returns the position
  // of the element that followed it.
  iterator erase(iterator it);

  // 0: unsorted, 1: in key order, 2: in weight order.
  int sortState() const noexcept { return sortState_; }

 private:
  friend struct ValueTree;

  // An empty list with room for capacity elements and the given sort state.
  MultiElementValue(std::size_t capacity, int sortState);

  void sortByKey() const;
  void sortByWeight() const;
  Element& append(Element* e);

  mutable std::vector<Element*> elements_;
  mutable int sortState_;
};

// Reads out from the single value of the element with that key, through a string
// input stream over its text and operator>>(std::istream&, T&); the stream's state is
// not looked at. Returns true. When the element exists without value, out becomes T()
// and the result is true. When no element has the key, or its value is not a single
// value, the result is false and out is unchanged. Other exceptions pass.
// Provided for BDate; works for any T with operator>> and a default constructor.
template <class T>
bool GetSingleValueFromMultiElement(const MultiElementValue& list, const ACE_CString& key,
                                    T& out) {
  try {
    const SingleValue& single = list.getElement(key).getSingle();
    std::istringstream in(std::string(single.value().c_str(), single.value().length()));
    in >> out;
    return true;
  } catch (const Element::NoValueSetEx&) {
    out = T();
    return true;
  } catch (const QVRException&) {
    return false;
  }
}

extern template CORVANE_XML_API bool GetSingleValueFromMultiElement<BDate>(
    const MultiElementValue&, const ACE_CString&, BDate&);

// Equality. Values of different kinds differ. Single values: same bytes. Value lists:
// same size and equal items position by position. Element lists: same size and, after
// sorting both into key order (which reorders them even though they are const), equal
// keys and equal values position by position; weights and attributes are not compared.
// Two elements without value are equal; an element without value differs from one with
// a value. Lists holding several elements with the same key may compare unequal when
// the sort leaves those in different relative orders.
CORVANE_XML_API bool operator==(const ValueBase& a, const ValueBase& b);
CORVANE_XML_API bool operator!=(const ValueBase& a, const ValueBase& b);
CORVANE_XML_API bool operator==(const SingleValue& a, const SingleValue& b);
CORVANE_XML_API bool operator!=(const SingleValue& a, const SingleValue& b);
CORVANE_XML_API bool operator==(const MultiValue& a, const MultiValue& b);
CORVANE_XML_API bool operator!=(const MultiValue& a, const MultiValue& b);
CORVANE_XML_API bool operator==(const MultiElementValue& a, const MultiElementValue& b);
CORVANE_XML_API bool operator!=(const MultiElementValue& a, const MultiElementValue& b);

// Reads one line of at most 10239 characters into s, stopping before the next line
// feed (which stays in the stream) or at the end of the input; a longer line leaves its
// rest for the next call. When nothing could be read, s becomes empty and in gets its
// fail state.
CORVANE_XML_API std::istream& operator>>(std::istream& in, ACE_CString& s);

// A base for callers' objects that store themselves in an element tree. The library
// neither derives from it nor calls its operations.
class CORVANE_XML_API Serializable {
 public:
  Serializable() = default;
  Serializable(const Serializable&) = default;
  Serializable& operator=(const Serializable&) = default;
  virtual ~Serializable();
  // Writes the object into element.
  virtual void store(Element& element) const = 0;
  // Reads the object back from element.
  virtual void load(const Element& element) = 0;
};

}  // namespace QVS

#endif  // CORVANE_XML_QVS_ELEMENT_H
