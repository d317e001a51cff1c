// xml/qvs/valuetree.cpp: destruction, deep copy, equality, dump and text of whole
// value trees, each walking the tree with a work list on the heap so that the depth of
// a tree never becomes the depth of the call stack.
#include "xml/qvs/detail/valuetree.h"

#include <cstring>
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <utility>

namespace QVS {

namespace {

// Whether v is a list with entries: the only values that have anything below them.
inline bool hasChildren(const ValueBase* v) {
  const ValueBase::Type t = v->type();
  return (t == ValueBase::Multi || t == ValueBase::MultiElement) && v->size() > 0;
}

inline const MultiValue& asMulti(const ValueBase* v) { return *static_cast<const MultiValue*>(v); }
inline const MultiElementValue& asElements(const ValueBase* v) {
  return *static_cast<const MultiElementValue*>(v);
}

// ---------------------------------------------------------------------------------
// Single values made in one block

// A SingleValue whose text starts out in bytes placed right after the object, in the same
// heap block, so that a reader makes one block per text instead of two. The text string
// does not own those bytes (they go with the object); a later set() that fits writes into
// them, a longer one gives the string a buffer of its own as usual. Everything else is
// SingleValue's: the class only adds the storage and the matching deallocation, which
// delete through a ValueBase* or SingleValue* reaches through the virtual destructor.
class BlockSingleValue final : public SingleValue {
 public:
  static SingleValue* make(const char* text, std::size_t length) {
    void* block = ::operator new(sizeof(BlockSingleValue) + length + 1);
    BlockSingleValue* v = ::new (block) BlockSingleValue;
    char* bytes = reinterpret_cast<char*>(block) + sizeof(BlockSingleValue);
    std::memcpy(bytes, text, length);
    bytes[length] = '\0';
    ValueTree::singleText(*v).set(bytes, length, false);
    return v;
  }

  static void operator delete(void* block) noexcept { ::operator delete(block); }

 private:
  BlockSingleValue() = default;
};

}  // namespace

SingleValue* ValueTree::newSingle(const char* text, std::size_t length) {
  return BlockSingleValue::make(text, length);
}

Element* ValueTree::newElementInBlock(std::size_t attributes, std::size_t room, char*& rest) {
  static_assert(sizeof(Element) % alignof(AttributeVector) == 0, "the list follows the element");
  const std::size_t list = attributes > 0 ? sizeof(AttributeVector) : 0;
  void* block = Element::operator new(sizeof(Element) + list + room);
  Element* e = new (block) Element(0, "", -1);
  rest = static_cast<char*>(block) + sizeof(Element);
  if (attributes > 0) {
    try {
      AttributeVector* vector = new (rest) AttributeVector;
      e->attributes_ = vector;
      e->attributesInBlock_ = true;
      vector->reserve(attributes);
    } catch (...) {
      delete e;
      throw;
    }
    rest += list;
  }
  return e;
}

namespace {

// ---------------------------------------------------------------------------------
// Destruction
//
// A list hands every entry that has something below it to a pending list instead of
// deleting it; an entry is deleted only once it is empty, so each delete stays shallow.

// Queues v if it has children, else deletes it at once. Should the pending list fail
// to grow (memory exhausted), v is deleted directly, recursing as deep as it must.
inline void release(ValueBase* v, std::vector<ValueBase*>& pending) noexcept {
  if (hasChildren(v)) {
    try {
      pending.push_back(v);
      return;
    } catch (...) {
    }
  }
  delete v;
}

void detach(std::vector<ValueBase*>& items, std::vector<ValueBase*>& pending) noexcept {
  for (ValueBase* v : items) release(v, pending);
  items.clear();
}

void detach(std::vector<Element*>& elements, std::vector<ValueBase*>& pending) noexcept {
  for (Element* e : elements) {
    ValueBase*& value = ValueTree::value(*e);
    if (value != nullptr) {
      release(value, pending);
      value = nullptr;
    }
    delete e;
  }
  elements.clear();
}

void drain(std::vector<ValueBase*>& pending) noexcept {
  while (!pending.empty()) {
    ValueBase* v = pending.back();
    pending.pop_back();
    if (v->type() == ValueBase::Multi) {
      detach(ValueTree::items(asMulti(v)), pending);
    } else {
      detach(ValueTree::elements(asElements(v)), pending);
    }
    delete v;
  }
}

}  // namespace

void ValueTree::destroy(std::vector<ValueBase*>& items) noexcept {
  std::vector<ValueBase*> pending;
  detach(items, pending);
  drain(pending);
}

void ValueTree::destroy(std::vector<Element*>& elements) noexcept {
  std::vector<ValueBase*> pending;
  detach(elements, pending);
  drain(pending);
}

// ---------------------------------------------------------------------------------
// Deep copy
//
// Each copy is attached to its parent before its own entries are copied, so that when
// an allocation fails the partial copy is owned by the root and freed with it.

namespace {

// A copy of v without its entries: a single value whole, a list empty but with room
// for the source's entries and, for an element list, the source's sort state. Values
// of classes other than the library's three are copied by their own clone().
ValueBase* copyNode(const ValueBase& v) {
  switch (v.type()) {
    case ValueBase::Single:
      return static_cast<const SingleValue&>(v).clone();
    case ValueBase::Multi:
      return ValueTree::newMulti(ValueTree::items(asMulti(&v)).size());
    case ValueBase::MultiElement:
      return ValueTree::newElements(ValueTree::elements(asElements(&v)).size(),
                                    asElements(&v).sortState());
  }
  return v.clone();
}

}  // namespace

Element* ValueTree::shallowElement(const Element& e) {
  std::unique_ptr<Element> copy(new Element(e.key_, e.weight_));
  if (e.attributes_ != nullptr) copy->attributes_ = new AttributeVector(*e.attributes_);
  return copy.release();
}

ValueBase* ValueTree::clone(const ValueBase& root) {
  std::unique_ptr<ValueBase> copy(copyNode(root));
  if (!hasChildren(&root)) return copy.release();

  std::vector<std::pair<const ValueBase*, ValueBase*>> pending;
  pending.emplace_back(&root, copy.get());
  while (!pending.empty()) {
    const ValueBase* from = pending.back().first;
    ValueBase* to = pending.back().second;
    pending.pop_back();
    if (from->type() == ValueBase::Multi) {
      std::vector<ValueBase*>& target = items(asMulti(to));
      for (const ValueBase* item : items(asMulti(from))) {
        std::unique_ptr<ValueBase> node(copyNode(*item));
        target.push_back(node.get());
        ValueBase* attached = node.release();
        if (hasChildren(item)) pending.emplace_back(item, attached);
      }
    } else {
      std::vector<Element*>& target = elements(asElements(to));
      for (const Element* e : elements(asElements(from))) {
        std::unique_ptr<Element> node(shallowElement(*e));
        if (e->value_ != nullptr) node->value_ = copyNode(*e->value_);
        target.push_back(node.get());
        Element* attached = node.release();
        if (e->value_ != nullptr && hasChildren(e->value_)) {
          pending.emplace_back(e->value_, attached->value_);
        }
      }
    }
  }
  return copy.release();
}

// ---------------------------------------------------------------------------------
// Equality

namespace {

inline bool sameText(const ACE_CString& a, const ACE_CString& b) {
  return a.length() == b.length() && std::memcmp(a.fast_rep(), b.fast_rep(), a.length()) == 0;
}

}  // namespace

bool ValueTree::equal(const ValueBase& a, const ValueBase& b) {
  std::vector<std::pair<const ValueBase*, const ValueBase*>> pending;
  pending.emplace_back(&a, &b);
  while (!pending.empty()) {
    const ValueBase* x = pending.back().first;
    const ValueBase* y = pending.back().second;
    pending.pop_back();
    if (x->type() != y->type()) return false;
    switch (x->type()) {
      case ValueBase::Single:
        if (!sameText(static_cast<const SingleValue*>(x)->value(),
                      static_cast<const SingleValue*>(y)->value())) {
          return false;
        }
        break;
      case ValueBase::Multi: {
        const std::vector<ValueBase*>& xs = items(asMulti(x));
        const std::vector<ValueBase*>& ys = items(asMulti(y));
        if (xs.size() != ys.size()) return false;
        // Pushed last to first so that items are compared in list order.
        for (std::size_t i = xs.size(); i-- > 0;) pending.emplace_back(xs[i], ys[i]);
        break;
      }
      case ValueBase::MultiElement: {
        const MultiElementValue& xl = asElements(x);
        const MultiElementValue& yl = asElements(y);
        if (xl.size() != yl.size()) return false;
        sortByKey(xl);
        sortByKey(yl);
        const std::vector<Element*>& xs = elements(xl);
        const std::vector<Element*>& ys = elements(yl);
        for (std::size_t i = xs.size(); i-- > 0;) {
          if (!sameText(xs[i]->key_, ys[i]->key_)) return false;
          const ValueBase* xv = xs[i]->value_;
          const ValueBase* yv = ys[i]->value_;
          // Two elements without value are equal; one without differs from one with.
          if (xv == nullptr || yv == nullptr) {
            if (xv != yv) return false;
            continue;
          }
          pending.emplace_back(xv, yv);
        }
        break;
      }
      default:
        return false;
    }
  }
  return true;
}

bool operator==(const ValueBase& a, const ValueBase& b) { return ValueTree::equal(a, b); }
bool operator!=(const ValueBase& a, const ValueBase& b) { return !ValueTree::equal(a, b); }
bool operator==(const SingleValue& a, const SingleValue& b) { return sameText(a.value(), b.value()); }
bool operator!=(const SingleValue& a, const SingleValue& b) { return !(a == b); }
bool operator==(const MultiValue& a, const MultiValue& b) { return ValueTree::equal(a, b); }
bool operator!=(const MultiValue& a, const MultiValue& b) { return !ValueTree::equal(a, b); }
bool operator==(const MultiElementValue& a, const MultiElementValue& b) {
  return ValueTree::equal(a, b);
}
bool operator!=(const MultiElementValue& a, const MultiElementValue& b) {
  return !ValueTree::equal(a, b);
}

// ---------------------------------------------------------------------------------
// Dump

namespace {

inline void writeText(std::ostream& os, const ACE_CString& s) {
  os.write(s.fast_rep(), static_cast<std::streamsize>(s.length()));
}

// Fixed texts are written unformatted, so a field width or fill set on the caller's
// stream changes nothing.
template <std::size_t N>
inline void writeLiteral(std::ostream& os, const char (&text)[N]) {
  os.write(text, static_cast<std::streamsize>(N - 1));
}

// Deep trees indent by thousands of tabs per line, so they go out in large blocks.
struct TabBlock {
  char tabs[4096];
  constexpr TabBlock() : tabs() {
    for (char& c : tabs) c = '\t';
  }
};
constexpr TabBlock kTabBlock;

inline void writeTabs(std::ostream& os, unsigned int count) {
  while (count > 0) {
    const unsigned int n = count < sizeof kTabBlock.tabs ? count : sizeof kTabBlock.tabs;
    os.write(kTabBlock.tabs, n);
    count -= n;
  }
}

// One list being dumped: which entry comes next, and whether an entry's list dump is
// open below it (its separator is written when the walk comes back here).
struct DumpFrame {
  const ValueBase* list;
  std::size_t next;
  unsigned int indent;
  bool childOpen;
};

// Writes the opening of a list's dump and puts its frame on the stack.
void openList(const ValueBase* v, std::ostream& os, unsigned int indent,
              std::vector<DumpFrame>& stack) {
  os.put('\n');
  if (v->type() == ValueBase::Multi) {
    writeTabs(os, indent + 1);
  } else {
    ValueTree::sortByWeight(asElements(v));
  }
  stack.push_back(DumpFrame{v, 0, indent, false});
}

}  // namespace

void ValueTree::dump(const ValueBase& root, std::ostream& os, unsigned int indent) {
  std::vector<DumpFrame> stack;
  openList(&root, os, indent, stack);
  while (!stack.empty()) {
    DumpFrame& frame = stack.back();
    const bool multi = frame.list->type() == ValueBase::Multi;
    if (frame.childOpen) {
      os.put(multi ? ' ' : '\n');
      frame.childOpen = false;
    }
    const std::size_t count = static_cast<std::size_t>(frame.list->size());
    if (frame.next == count) {
      stack.pop_back();
      continue;
    }
    const std::size_t index = frame.next++;
    const unsigned int childIndent = frame.indent + 1;
    const ValueBase* child;
    if (multi) {
      child = items(asMulti(frame.list))[index];
      // Decimal whatever the stream's number format.
      const std::string label = "value " + std::to_string(index) + ": ";
      os.write(label.data(), static_cast<std::streamsize>(label.size()));
    } else {
      const Element* e = elements(asElements(frame.list))[index];
      writeTabs(os, childIndent);
      writeLiteral(os, "key = <");
      writeText(os, e->key_);
      os.put('>');
      for (const Attribute& a : e->attributes()) {
        os.put('<');
        writeText(os, a.first);
        writeLiteral(os, ", ");
        writeText(os, a.second);
        writeLiteral(os, "> ");
      }
      writeLiteral(os, " value = ");
      child = &e->value();  // throws NoValueSetEx for an element without value
    }
    const ValueBase::Type t = child->type();
    if (t == ValueBase::Multi || t == ValueBase::MultiElement) {
      frame.childOpen = true;  // set before the push, which may move frame
      openList(child, os, childIndent, stack);
    } else {
      child->dump(os, childIndent);
      os.put(multi ? ' ' : '\n');
    }
  }
}

void SingleValue::dump(std::ostream& os, unsigned int /*indent*/) const { writeText(os, text_); }
void MultiValue::dump(std::ostream& os, unsigned int indent) const {
  ValueTree::dump(*this, os, indent);
}
void MultiElementValue::dump(std::ostream& os, unsigned int indent) const {
  ValueTree::dump(*this, os, indent);
}

// ---------------------------------------------------------------------------------
// Text of a value list: the items' texts, each cut at its first zero byte, joined by
// blanks. A nested value list's text is written straight into the one result: it is
// made of cut texts and blanks, so cutting it again as an item would change nothing,
// and building it apart first would copy deep texts once per level.

namespace {

struct TextFrame {
  const MultiValue* list;
  std::size_t next;
};

inline void appendCut(std::string& out, const char* s, std::size_t n) {
  const void* zero = std::memchr(s, 0, n);
  out.append(s, zero != nullptr ? static_cast<const char*>(zero) - s : n);
}

}  // namespace

ACE_CString ValueTree::text(const MultiValue& root) {
  std::vector<TextFrame> stack;
  stack.push_back(TextFrame{&root, 0});
  std::string out;
  while (!stack.empty()) {
    TextFrame& frame = stack.back();
    const std::vector<ValueBase*>& list = items(*frame.list);
    if (frame.next == list.size()) {
      stack.pop_back();
      continue;
    }
    const ValueBase* item = list[frame.next];
    if (frame.next++ > 0) out.push_back(' ');
    if (item->type() == ValueBase::Multi) {
      stack.push_back(TextFrame{static_cast<const MultiValue*>(item), 0});
    } else {
      const ACE_CString s = item->valueAsString();
      appendCut(out, s.fast_rep(), s.length());
    }
  }
  return ACE_CString(out.data(), out.size());
}

// ---------------------------------------------------------------------------------
// Line input

std::istream& operator>>(std::istream& in, ACE_CString& s) {
  char buffer[10240];
  in.get(buffer, sizeof buffer);
  s.set(buffer, static_cast<ACE_CString::size_type>(in.gcount()), true);
  return in;
}

}  // namespace QVS
