// tests/qvs/element_test.cpp: the QVS element tree: elements, the three value kinds,
// keyed and weighted access to element lists, equality, dump, line input, and trees far
// deeper than the call stack.
#include <pthread.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/throws.h"
#include "xml/qvs/element.h"

namespace {

using QVS::AttributeVector;
using QVS::Element;
using QVS::MultiElementValue;
using QVS::MultiValue;
using QVS::SingleValue;
using QVS::ValueBase;
using Keys = std::vector<std::string>;

const char kNoValue[] = "QVS::Element: the element does not have a value.";
const char kInvalidType[] = "QVS::Element: invalid value type.";

std::string str(const ACE_CString& s) { return std::string(s.c_str(), s.length()); }
ACE_CString cs(const std::string& s) { return ACE_CString(s.data(), s.size()); }

template <class It>
Keys keysOf(It first, It last) {
  Keys keys;
  for (; first != last; ++first) keys.push_back(str((*first)->key()));
  return keys;
}

// The list's present order; never sorts.
Keys presentOrder(const MultiElementValue& list) {
  return keysOf(list.beginNoSort(), list.endNoSort());
}

// Appends one element per key whose single value is the key itself.
void addKeys(MultiElementValue& list, const Keys& keys, int weight = -1) {
  for (const std::string& k : keys) list.addSingle(cs(k), AttributeVector(), weight).set(k.c_str());
}

std::string dumpOf(const ValueBase& v, unsigned int indent = 0) {
  std::ostringstream os;
  v.dump(os, indent);
  return os.str();
}

// The one child of an element whose value is a one-element list.
Element& onlyChild(Element& e) { return **e.getMultiElement().beginNoSort(); }

// ---------------------------------------------------------------------------------
// Element: construction and attributes

// Construction: key "" and weight -1 by default; the length form takes the first
// length bytes, zero bytes included.
TEST(Element, Construction) {
  const Element e;
  EXPECT_EQ("", str(e.key()));
  EXPECT_EQ(-1, e.weight());
  EXPECT_EQ(0u, e.attributeSize());
  EXPECT_FALSE(e.hasValue());

  const Element k(3, "keyboard", 7);
  EXPECT_EQ("key", str(k.key()));
  EXPECT_EQ(7, k.weight());
  const char withZero[] = {'a', '\0', 'b', 'c'};
  EXPECT_EQ(std::string("a\0b", 3), str(Element(3, withZero, -2).key()));
  EXPECT_EQ("", str(Element(0, "abc", 1).key()));
}

// Attributes keep insertion order and duplicates; the first match answers, and
// eraseAttribute removes only the first pair of a name.
TEST(ElementAttributes, OrderDuplicatesFirstMatch) {
  Element e;
  e.insertAttribute(QVS::Attribute("a", "1"));
  e.insertAttribute("x", "9");
  e.insertAttribute("a", "2");
  std::vector<std::pair<std::string, std::string>> seen;
  for (auto it = e.attributeBegin(); it != e.attributeEnd(); ++it) {
    seen.emplace_back(str(it->first), str(it->second));
  }
  EXPECT_EQ((std::vector<std::pair<std::string, std::string>>{{"a", "1"}, {"x", "9"}, {"a", "2"}}),
            seen);
  EXPECT_EQ(3u, e.attributeSize());
  bool found = false;
  EXPECT_EQ("1", str(e.getAttributeValue("a", found)));
  EXPECT_TRUE(found);

  e.eraseAttribute("a");
  EXPECT_EQ("2", str(e.getAttributeValue("a", found)));
  EXPECT_TRUE(found);
  EXPECT_EQ("x", str(e.attributes()[0].first));
  e.eraseAttribute("a");
  e.eraseAttribute("absent");
  EXPECT_EQ("", str(e.getAttributeValue("a", found)));
  EXPECT_FALSE(found);
  EXPECT_EQ(1u, e.attributeSize());
}

// An element without attributes answers with empty lists and one shared empty string.
TEST(ElementAttributes, AbsentAttributesAnswerEmpty) {
  Element bare;
  Element cleared;
  cleared.insertAttribute("n", "v");
  cleared.clearAttributes();
  Element other;
  other.insertAttribute("other", "v");
  for (const Element* e : {&bare, &cleared}) {
    EXPECT_EQ(0u, e->attributeSize());
    EXPECT_TRUE(e->attributeBegin() == e->attributeEnd());
    EXPECT_TRUE(e->attributes().empty());
    bool found = true;
    EXPECT_EQ(&other.getAttributeValue("n", found), &e->getAttributeValue("n", found));
    EXPECT_FALSE(found);
    EXPECT_EQ(0u, e->getAttributeValue("n", found).length());
  }
}

// insertAttributes replaces the whole list; passing the element's own list does nothing.
TEST(ElementAttributes, InsertAttributesReplaces) {
  Element e;
  e.insertAttribute("a", "1");
  e.insertAttribute("b", "2");
  e.insertAttribute("c", "3");
  const AttributeVector two = {{"x", "8"}, {"y", "9"}};
  e.insertAttributes(two);
  e.insertAttributes(e.attributes());
  ASSERT_EQ(2u, e.attributeSize());
  EXPECT_EQ("x", str(e.attributes()[0].first));
  EXPECT_EQ("9", str(e.attributes()[1].second));

  Element fresh;
  fresh.insertAttributes(two);
  EXPECT_EQ(2u, fresh.attributeSize());
  fresh.insertAttributes(AttributeVector());
  EXPECT_EQ(0u, fresh.attributeSize());
}

// ---------------------------------------------------------------------------------
// Element: values

// The base exception answers ""; KeyNotFoundEx keeps its message through copies.
TEST(Exceptions, Texts) {
  EXPECT_STREQ("", QVS::QVRException().what());
  const MultiElementValue::KeyNotFoundEx ex("Study");
  EXPECT_STREQ("key Study not found.", ex.what());
  const MultiElementValue::KeyNotFoundEx copy(ex);
  MultiElementValue::KeyNotFoundEx assigned("x");
  assigned = ex;
  EXPECT_STREQ("key Study not found.", static_cast<const std::exception&>(copy).what());
  EXPECT_STREQ("key Study not found.", assigned.what());
}

// Every getter (both forms) answers the stored value of its kind, throws NoValueSetEx
// without value and InvalidValueTypeEx for another kind, leaving the element unchanged.
TEST(ElementValue, Getters) {
  using Getter = std::function<const ValueBase&(Element&)>;
  const std::vector<std::pair<ValueBase::Type, Getter>> getters = {
      {ValueBase::Single, [](Element& e) -> const ValueBase& { return e.getSingle(); }},
      {ValueBase::Single,
       [](Element& e) -> const ValueBase& { return static_cast<const Element&>(e).getSingle(); }},
      {ValueBase::Multi, [](Element& e) -> const ValueBase& { return e.getMulti(); }},
      {ValueBase::Multi,
       [](Element& e) -> const ValueBase& { return static_cast<const Element&>(e).getMulti(); }},
      {ValueBase::MultiElement, [](Element& e) -> const ValueBase& { return e.getMultiElement(); }},
      {ValueBase::MultiElement,
       [](Element& e) -> const ValueBase& {
         return static_cast<const Element&>(e).getMultiElement();
       }},
  };
  Element none("n", 3);
  none.insertAttribute("a", "b");
  EXPECT_THROW_WHAT(static_cast<const Element&>(none).value(), Element::NoValueSetEx, kNoValue);
  for (const auto& g : getters) {
    EXPECT_THROW_WHAT(g.second(none), Element::NoValueSetEx, kNoValue);
    EXPECT_THROW(g.second(none), QVS::QVRException);
  }
  EXPECT_FALSE(none.hasValue());
  EXPECT_EQ(1u, none.attributeSize());

  Element single;
  single.addSingle().set("text");
  Element multi;
  multi.addMulti().addSingle();
  Element list;
  list.addMultiElement().addSingle("k");
  for (Element* e : {&single, &multi, &list}) {
    const ValueBase* stored = &e->value();
    for (const auto& g : getters) {
      if (g.first == stored->type()) {
        EXPECT_EQ(stored, &g.second(*e));
      } else {
        EXPECT_THROW_WHAT(g.second(*e), Element::InvalidValueTypeEx, kInvalidType);
      }
    }
    EXPECT_EQ(stored, &e->value());
    EXPECT_EQ(1, e->value().size());
  }
  EXPECT_EQ("text", str(single.getSingle().value()));
}

// Each add function replaces the value by a new empty one; clear() removes it only.
TEST(ElementValue, AddReplacesAndClearRemoves) {
  Element e("k", 4);
  e.insertAttribute("a", "1");
  e.addSingle().set("old");
  EXPECT_EQ(0, e.addMulti().size());
  e.getMulti().addSingle();
  EXPECT_EQ(0, e.addMultiElement().size());
  e.getMultiElement().addSingle("x");
  EXPECT_EQ(0u, e.addSingle().value().length());
  EXPECT_EQ(ValueBase::Single, e.value().type());

  e.clear();
  EXPECT_FALSE(e.hasValue());
  EXPECT_EQ("k", str(e.key()));
  EXPECT_EQ(4, e.weight());
  EXPECT_EQ(1u, e.attributeSize());
  e.clear();
  EXPECT_FALSE(e.hasValue());
}

// value(v) stores a copy, also when v is the element's own value or lies inside it.
TEST(ElementValue, ValueStoresACopy) {
  Element e;
  SingleValue outside;
  outside.set("abc");
  ValueBase& stored = e.value(outside);
  EXPECT_NE(static_cast<ValueBase*>(&outside), &stored);
  EXPECT_EQ(&stored, &e.value());
  outside.set("changed");
  EXPECT_EQ("abc", str(e.getSingle().value()));
  e.value(e.value());
  EXPECT_EQ("abc", str(e.getSingle().value()));

  MultiValue& m = e.addMulti();
  m.addSingle().set("first");
  MultiValue& inner = m.addMulti();
  inner.addSingle().set("deep");
  inner.addMultiElement().addSingle("k").set("v");
  e.value(inner);
  ASSERT_EQ(ValueBase::Multi, e.value().type());
  EXPECT_EQ("deep ", str(e.getMulti().valueAsString()));
  const auto* list = static_cast<const MultiElementValue*>(e.getMulti().begin()[1]);
  EXPECT_EQ("v", str(list->getElement("k").getSingle().value()));
}

// An element holding a value of kind '-' (none), 's' (one text), 'm' (a value list of
// texts) or 'l' (an element list with one child per text, its key and value).
Element withValue(char kind, const Keys& texts) {
  Element e;
  if (kind == 's') e.addSingle().set(texts[0].data(), static_cast<unsigned>(texts[0].size()));
  if (kind == 'm') {
    MultiValue& m = e.addMulti();
    for (const std::string& t : texts) m.addSingle().set(t.data(), static_cast<unsigned>(t.size()));
  }
  if (kind == 'l') addKeys(e.addMultiElement(), texts);
  return e;
}

// hasEmptyValue: true without value, or for a non-empty text of white space only.
TEST(ElementValue, HasEmptyValue) {
  struct Case {
    char kind;
    Keys texts;
    bool empty;
  };
  const std::vector<Case> cases = {
      {'-', {}, true},
      {'s', {""}, false},
      {'s', {" \t\r\n"}, true},
      {'s', {"\v\f"}, true},
      {'s', {" x"}, false},
      {'s', {"x "}, false},
      {'s', {std::string(" \0 ", 3)}, false},
      {'s', {" \xA0"}, false},
      {'m', {}, false},
      {'m', {""}, false},
      {'m', {" ", "\t"}, true},
      {'m', {"", ""}, true},  // two empty texts join to one blank
      {'m', {" ", "x"}, false},
      {'l', {}, false},
      {'l', {" "}, false},
  };
  for (const Case& c : cases) {
    const std::string texts = ::testing::PrintToString(c.texts);
    EXPECT_EQ(c.empty, withValue(c.kind, c.texts).hasEmptyValue()) << c.kind << " " << texts;
  }
}

// SingleValue holds exactly the bytes given, zero bytes included.
TEST(SingleValue, SetCopiesBytes) {
  SingleValue v;
  EXPECT_EQ(1, v.size());
  EXPECT_EQ(0u, v.value().length());
  char buffer[] = "abc";
  v.set(buffer);
  buffer[0] = 'X';
  EXPECT_EQ("abc", str(v.value()));
  v.set("a\0b", 3);
  EXPECT_EQ(std::string("a\0b", 3), str(v.value()));
  EXPECT_EQ(std::string("a\0b", 3), str(v.valueAsString()));
  v.set("xyz", 2);
  EXPECT_EQ("xy", str(v.value()));

  std::unique_ptr<SingleValue> copy(v.clone());
  v.set("");
  EXPECT_EQ(0u, v.value().length());
  EXPECT_EQ("xy", str(copy->value()));
}

void addTexts(MultiValue& m, const Keys& texts) {
  for (const std::string& t : texts) m.addSingle().set(t.data(), static_cast<unsigned>(t.size()));
}

// MultiValue::valueAsString joins the items' texts, each cut at its first zero byte.
TEST(MultiValue, ValueAsString) {
  const std::vector<std::pair<std::string, std::function<void(MultiValue&)>>> cases = {
      {"", [](MultiValue&) {}},
      {"a  b", [](MultiValue& m) { addTexts(m, {"a", "", "b"}); }},
      {"a c", [](MultiValue& m) { addTexts(m, {std::string("a\0b", 3), "c"}); }},
      {"a  b",
       [](MultiValue& m) {
         addTexts(m, {"a"});
         m.addMultiElement().addSingle("k").set("hidden");
         addTexts(m, {"b"});
       }},
      {"a b c d",
       [](MultiValue& m) {
         addTexts(m, {"a"});
         addTexts(m.addMulti(), {"b", std::string("c\0x", 3)});
         addTexts(m, {"d"});
       }},
      {"a  b",
       [](MultiValue& m) {
         addTexts(m, {"a"});
         m.addMulti();
         addTexts(m, {"b"});
       }},
  };
  for (const auto& c : cases) {
    MultiValue m;
    c.second(m);
    EXPECT_EQ(c.first, str(m.valueAsString()));
  }
}

// MultiValue appends new, cloned and adopted items in order; erase and clear delete.
TEST(MultiValue, AddEraseClear) {
  MultiValue m;
  m.addSingle().set("s");
  m.addMulti();
  m.addMultiElement();
  SingleValue source;
  source.set("cloned");
  EXPECT_NE(static_cast<ValueBase*>(&source), &m.addValue(source));
  source.set("changed");
  auto* adopted = new SingleValue;
  adopted->set("adopted");
  m.addValue(adopted);
  MultiElementValue list;
  list.addSingle("k").set("v");
  MultiElementValue& listCopy = m.addMultiElement(list);
  EXPECT_NE(&list, &listCopy);
  list.clear();
  EXPECT_EQ("v", str(listCopy.getElement("k").getSingle().value()));

  std::vector<ValueBase::Type> types;
  for (const ValueBase* v : m) types.push_back(v->type());
  EXPECT_EQ((std::vector<ValueBase::Type>{ValueBase::Single, ValueBase::Multi,
                                          ValueBase::MultiElement, ValueBase::Single,
                                          ValueBase::Single, ValueBase::MultiElement}),
            types);
  EXPECT_EQ(6, m.size());
  EXPECT_EQ(adopted, m.begin()[4]);

  MultiValue::iterator next = m.erase(m.begin() + 1);
  EXPECT_EQ(ValueBase::MultiElement, (*next)->type());
  next = m.erase(m.end() - 1);
  EXPECT_TRUE(next == m.end());
  EXPECT_EQ("s  cloned adopted", str(m.valueAsString()));
  m.clear();
  EXPECT_EQ(0, m.size());
  m.addSingle().set("again");
  EXPECT_EQ("again", str(m.valueAsString()));
}

// MultiElementValue's add functions build elements as documented, in append order.
TEST(MultiElementValue, AddFunctionsBuildElements) {
  MultiElementValue l;
  const AttributeVector attrs = {{"n", "v"}};
  Element source("copied", 5);
  source.addSingle().set("s");
  EXPECT_NE(&source, &l.addElement(source));
  source.getSingle().set("changed");
  auto* adopted = new Element("adopted", 6);
  l.addElement(adopted);
  Element& bare = l.addElement("bare", attrs, 7);
  l.addSingle("single").set("x");
  l.addMulti("multi", attrs, 2).addSingle().set("m");
  l.addMultiElement("list", AttributeVector(), 3).addSingle("inner");
  SingleValue v;
  v.set("val");
  ValueBase& valueCopy = l.addValue("value", v, attrs, 8);

  EXPECT_EQ(Keys({"copied", "adopted", "bare", "single", "multi", "list", "value"}),
            presentOrder(l));
  EXPECT_EQ("", str(l.valueAsString()));
  auto at = [&l](int i) -> Element& { return *l.beginNoSort()[i]; };
  EXPECT_EQ("s", str(at(0).getSingle().value()));
  EXPECT_EQ(5, at(0).weight());
  EXPECT_EQ(adopted, &at(1));
  EXPECT_EQ(&bare, &at(2));
  EXPECT_FALSE(bare.hasValue());
  EXPECT_EQ(7, bare.weight());
  EXPECT_EQ(1u, bare.attributeSize());
  EXPECT_EQ("x", str(at(3).getSingle().value()));
  EXPECT_EQ(-1, at(3).weight());
  EXPECT_EQ(0u, at(3).attributeSize());
  EXPECT_EQ("m", str(at(4).getMulti().valueAsString()));
  EXPECT_EQ(1u, at(4).attributeSize());
  EXPECT_TRUE(at(5).getMultiElement().has("inner"));
  EXPECT_EQ(3, at(5).weight());
  EXPECT_NE(static_cast<ValueBase*>(&v), &valueCopy);
  EXPECT_EQ(&valueCopy, &at(6).value());
  EXPECT_EQ("val", str(at(6).getSingle().value()));
  EXPECT_EQ(8, at(6).weight());
}

// ---------------------------------------------------------------------------------
// Deep copy

Element makeSample() {
  Element e("root", 3);
  e.insertAttribute("id", "1");
  MultiElementValue& l = e.addMultiElement();
  l.addSingle("b", {{"x", "y"}}, 2).set("B");
  MultiValue& m = l.addMulti("a");
  m.addSingle().set("m1");
  m.addMultiElement().addSingle("deep").set("D");
  l.addElement("none", AttributeVector(), 1);
  return e;
}

// Copy construction and clone() copy everything; changing the copy leaves the source.
TEST(ElementCopy, CopiesAreDeepAndIndependent) {
  const Element source = makeSample();
  Element copy(source);
  std::unique_ptr<Element> clone(source.clone());
  for (Element* c : {&copy, clone.get()}) {
    EXPECT_EQ("root", str(c->key()));
    EXPECT_EQ(3, c->weight());
    ASSERT_EQ(1u, c->attributeSize());
    EXPECT_EQ("1", str(c->attributes()[0].second));
    EXPECT_TRUE(c->getMultiElement() == source.getMultiElement());
    EXPECT_NE(&c->getMultiElement(), &source.getMultiElement());

    MultiElementValue& l = c->getMultiElement();
    l.getElement("b").getSingle().set("changed");
    l.getElement("b").insertAttribute("more", "1");
    auto* nested = static_cast<MultiElementValue*>(l.getElement("a").getMulti().begin()[1]);
    nested->getElement("deep").getSingle().set("changed");
    nested->addSingle("extra");
    l.getElement("none").addSingle();
    l.getElement("b").key("renamed");
    c->insertAttribute("id", "2");
    c->key("other");
    c->weight(0);
  }
  EXPECT_TRUE(makeSample().getMultiElement() == source.getMultiElement());
  EXPECT_EQ("root", str(source.key()));
  EXPECT_EQ(3, source.weight());
  EXPECT_EQ(1u, source.attributeSize());
  const MultiElementValue& l = source.getMultiElement();
  EXPECT_EQ("B", str(l.getElement("b").getSingle().value()));
  EXPECT_EQ(1u, l.getElement("b").attributeSize());
  EXPECT_FALSE(l.getElement("none").hasValue());
  EXPECT_EQ("m1 ", str(l.getElement("a").getMulti().valueAsString()));
}

// Assignment copies deeply, does nothing on itself, and may take a source from its own
// subtree.
TEST(ElementAssign, DeepCopyAndAliasing) {
  Element target = makeSample();
  const ValueBase* valueBefore = &target.value();
  Element& alias = target;
  target = alias;
  EXPECT_EQ(valueBefore, &target.value());
  EXPECT_EQ("root", str(target.key()));
  EXPECT_TRUE(target.getMultiElement() == makeSample().getMultiElement());

  Element other("other", 9);
  other.addSingle().set("o");
  target = other;
  EXPECT_EQ("other", str(target.key()));
  EXPECT_EQ(9, target.weight());
  EXPECT_EQ(0u, target.attributeSize());
  EXPECT_EQ("o", str(target.getSingle().value()));
  other.getSingle().set("changed");
  EXPECT_EQ("o", str(target.getSingle().value()));

  // Source inside the target's subtree.
  target = makeSample();
  target = target.getMultiElement().getElement("b");
  EXPECT_EQ("b", str(target.key()));
  EXPECT_EQ(2, target.weight());
  ASSERT_EQ(1u, target.attributeSize());
  EXPECT_EQ("y", str(target.attributes()[0].second));
  EXPECT_EQ("B", str(target.getSingle().value()));

  // A value-less source leaves the target without value.
  target = makeSample();
  target = Element("empty");
  EXPECT_EQ("empty", str(target.key()));
  EXPECT_FALSE(target.hasValue());
  EXPECT_EQ(0u, target.attributeSize());
}

// clone() of a list keeps its present order and its sort state, at every level.
TEST(MultiElementValueClone, KeepsOrderAndSortState) {
  MultiElementValue l;
  addKeys(l, {"b", "a", "c"});
  MultiElementValue& nested = l.addMultiElement("n");
  nested.addSingle("y", AttributeVector(), 1);
  nested.addSingle("x", AttributeVector(), 2);
  nested.beginW(-1);  // nested: y, x in weight order

  std::unique_ptr<MultiElementValue> c0(l.clone());
  EXPECT_EQ(0, c0->sortState());
  EXPECT_EQ(Keys({"b", "a", "c", "n"}), presentOrder(*c0));
  const MultiElementValue& n0 = c0->getElement("n").getMultiElement();
  EXPECT_EQ(2, n0.sortState());
  EXPECT_EQ(Keys({"y", "x"}), presentOrder(n0));

  l.begin();
  std::unique_ptr<MultiElementValue> c1(l.clone());
  EXPECT_EQ(1, c1->sortState());
  EXPECT_EQ(Keys({"a", "b", "c", "n"}), presentOrder(*c1));

  l.beginW(-1);
  std::unique_ptr<ValueBase> c2(static_cast<const ValueBase&>(l).clone());
  const auto& l2 = static_cast<const MultiElementValue&>(*c2);
  EXPECT_EQ(2, l2.sortState());
  EXPECT_EQ(presentOrder(l), presentOrder(l2));
}

// ---------------------------------------------------------------------------------
// Keyed and weighted access

// Key access sorts the list in place; beginNoSort shows the order before and after.
TEST(MultiElementValue, KeyOrderSortsInPlace) {
  MultiElementValue l;
  addKeys(l, {"b", "a", "c"});
  EXPECT_EQ(Keys({"b", "a", "c"}), presentOrder(l));
  EXPECT_EQ(0, l.sortState());
  EXPECT_EQ(Keys({"a", "b", "c"}), keysOf(l.begin(), l.end()));
  EXPECT_EQ(Keys({"a", "b", "c"}), presentOrder(l));
  EXPECT_EQ(1, l.sortState());
  l.addSingle("0");
  EXPECT_EQ(Keys({"a", "b", "c", "0"}), presentOrder(l));
  EXPECT_EQ(0, l.sortState());
}

// Keys order by unsigned bytes, a proper prefix first, not case-folded.
TEST(MultiElementValue, KeyOrderIsUnsignedBytePrefixFirst) {
  MultiElementValue l;
  addKeys(l, {"ab", "z", "\xE9", "a", "B", ""});
  l.addElement(new Element(2, "a\0", -1));
  const Keys expected = {"", "B", "a", std::string("a\0", 2), "ab", "z", "\xE9"};
  EXPECT_EQ(expected, keysOf(l.begin(), l.end()));
  const MultiElementValue& c = l;
  EXPECT_EQ(expected, keysOf(c.begin(), c.end()));
  EXPECT_TRUE(l.has("\xE9"));
  EXPECT_TRUE(l.has(ACE_CString("a\0", 2)));
}

// Weight order: signed weights ascending, equal weights in key order; -1 selects all.
TEST(MultiElementValue, WeightOrder) {
  MultiElementValue l;
  l.addSingle("x", AttributeVector(), 2);
  l.addSingle("a", AttributeVector(), 2);
  l.addSingle("m", AttributeVector(), 1);
  l.addSingle("z", AttributeVector(), -1);
  EXPECT_EQ(Keys({"z", "m", "a", "x"}), keysOf(l.beginW(-1), l.endW(-1)));
  EXPECT_EQ(2, l.sortState());
  EXPECT_EQ(Keys({"a", "x"}), keysOf(l.beginW(2), l.endW(2)));
  EXPECT_EQ(Keys({"m"}), keysOf(l.beginW(1), l.endW(1)));
  EXPECT_TRUE(l.beginW(5) == l.endW(5));
  EXPECT_TRUE(l.beginW(0) == l.endW(0));
  const MultiElementValue& c = l;
  EXPECT_EQ(Keys({"a", "x"}), keysOf(c.beginW(2), c.endW(2)));

  MultiElementValue s;
  s.addSingle("p", AttributeVector(), 3);
  s.addSingle("q", AttributeVector(), -7);
  s.addSingle("r", AttributeVector(), 0);
  s.addSingle("o", AttributeVector(), -2147483647 - 1);
  EXPECT_EQ(Keys({"o", "q", "r", "p"}), keysOf(s.beginW(-1), s.endW(-1)));
  EXPECT_EQ(Keys({"q"}), keysOf(s.beginW(-7), s.endW(-7)));
}

// The sort state: 1 after key access, 2 after weighted access, 0 after every change;
// clear() keeps it; beginNoSort never changes it.
TEST(MultiElementValue, SortStateTransitions) {
  MultiElementValue l;
  EXPECT_EQ(0, l.sortState());
  addKeys(l, {"b", "a"});
  const MultiElementValue& c = l;
  const std::vector<std::pair<const char*, std::function<void()>>> keyed = {
      {"begin", [&] { l.begin(); }},          {"end", [&] { l.end(); }},
      {"const begin", [&] { c.begin(); }},    {"const end", [&] { c.end(); }},
      {"begin(key)", [&] { l.begin("a"); }},  {"end(key)", [&] { l.end("a"); }},
      {"const begin(key)", [&] { c.begin("a"); }},
      {"const end(key)", [&] { c.end("a"); }},
      {"has", [&] { c.has("zz"); }},          {"getElement", [&] { l.getElement("a"); }},
      {"const getElement", [&] { c.getElement("a"); }},
  };
  const std::vector<std::pair<const char*, std::function<void()>>> weighted = {
      {"beginW", [&] { l.beginW(-1); }},      {"endW", [&] { l.endW(3); }},
      {"const beginW", [&] { c.beginW(2); }}, {"const endW", [&] { c.endW(-1); }},
  };
  for (const auto& k : keyed) {
    for (const auto& w : weighted) {
      w.second();
      EXPECT_EQ(2, l.sortState()) << w.first;
      k.second();
      EXPECT_EQ(1, l.sortState()) << k.first;
    }
  }
  l.beginNoSort();
  c.endNoSort();
  EXPECT_EQ(1, l.sortState());

  MultiElementValue other;
  addKeys(other, {"o"});
  const std::vector<std::pair<const char*, std::function<void()>>> changes = {
      {"addElement(const&)", [&] { l.addElement(Element("n")); }},
      {"addElement(ptr)", [&] { l.addElement(new Element("n")); }},
      {"addElement(key)", [&] { l.addElement("n", AttributeVector(), 1); }},
      {"addSingle", [&] { l.addSingle("n"); }},
      {"addMulti", [&] { l.addMulti("n"); }},
      {"addMultiElement", [&] { l.addMultiElement("n"); }},
      {"addValue", [&] { l.addValue("n", SingleValue()); }},
      {"assign", [&] { l.assign(other.beginNoSort(), other.endNoSort()); }},
      {"replace", [&] { l.replace("a", Element("a")); }},
      {"erase(key)", [&] { l.erase("n"); }},
      {"erase(iterator)", [&] { l.erase(l.endNoSort() - 1); }},
  };
  for (const auto& change : changes) {
    l.begin();
    change.second();
    EXPECT_EQ(0, l.sortState()) << change.first << " after key order";
    l.beginW(-1);
    change.second();
    EXPECT_EQ(0, l.sortState()) << change.first << " after weight order";
  }

  l.begin();
  l.clear();
  EXPECT_EQ(1, l.sortState());
  EXPECT_EQ(0, l.size());
  addKeys(l, {"a"});
  l.beginW(-1);
  l.clear();
  EXPECT_EQ(2, l.sortState());
}

// begin(key)/end(key) bound exactly the elements with the key; has and getElement agree.
TEST(MultiElementValue, KeyRangesAndSearch) {
  MultiElementValue l;
  addKeys(l, {"k", "a", "k", "z", "k"});
  EXPECT_EQ(Keys({"k", "k", "k"}), keysOf(l.begin("k"), l.end("k")));
  EXPECT_TRUE(l.has("k"));
  EXPECT_EQ("k", str(l.getElement("k").key()));
  EXPECT_EQ("a", str(l.getElement("a").getSingle().value()));
  EXPECT_TRUE(l.begin("c") == l.end("c"));
  EXPECT_EQ("k", str((*l.begin("c"))->key()));
  EXPECT_TRUE(l.begin("zz") == l.end());
  EXPECT_FALSE(l.has("c"));
  EXPECT_FALSE(l.has(""));
  EXPECT_FALSE(l.has("kk"));
  EXPECT_THROW_WHAT(l.getElement("Study"), MultiElementValue::KeyNotFoundEx,
                    "key Study not found.");
  EXPECT_THROW_WHAT(l.getElement(""), QVS::QVRException, "key  not found.");

  const MultiElementValue& c = l;
  EXPECT_EQ(Keys({"k", "k", "k"}), keysOf(c.begin("k"), c.end("k")));
  EXPECT_EQ("z", str(c.getElement("z").key()));
  EXPECT_THROW_WHAT(c.getElement("b"), MultiElementValue::KeyNotFoundEx, "key b not found.");

  const MultiElementValue empty;
  EXPECT_FALSE(empty.has("k"));
  EXPECT_TRUE(empty.begin("k") == empty.end("k"));
  EXPECT_THROW_WHAT(empty.getElement("k"), MultiElementValue::KeyNotFoundEx,
                    "key k not found.");
}

// erase(key) removes every element with the key and returns where they stood.
TEST(MultiElementValue, EraseByKey) {
  MultiElementValue l;
  addKeys(l, {"k", "z", "k", "a", "k"});
  MultiElementValue::iterator next = l.erase("k");
  ASSERT_TRUE(next != l.endNoSort());
  EXPECT_EQ("z", str((*next)->key()));
  EXPECT_EQ(2, l.size());
  EXPECT_FALSE(l.has("k"));
  EXPECT_EQ(Keys({"a", "z"}), keysOf(l.begin(), l.end()));

  next = l.erase("m");
  EXPECT_EQ(2, l.size());
  EXPECT_EQ("z", str((*next)->key()));
  next = l.erase("zz");
  EXPECT_TRUE(next == l.endNoSort());
  l.erase("z");
  l.erase("a");
  EXPECT_EQ(0, l.size());
}

// erase(iterator) removes that element only and returns the one that followed it.
TEST(MultiElementValue, EraseAtIterator) {
  MultiElementValue l;
  addKeys(l, {"b", "a", "c"});
  MultiElementValue::iterator next = l.erase(l.beginNoSort() + 1);
  EXPECT_EQ("c", str((*next)->key()));
  EXPECT_EQ(Keys({"b", "c"}), presentOrder(l));
  next = l.erase(l.begin("c"));
  EXPECT_TRUE(next == l.endNoSort());
  EXPECT_EQ(Keys({"b"}), presentOrder(l));
}

// replace clones e, erases every element with the key and appends the clone.
TEST(MultiElementValue, Replace) {
  MultiElementValue l;
  addKeys(l, {"b", "a"});
  Element e("k", 4);
  e.addSingle().set("new");
  Element& added = l.replace("k", e);
  EXPECT_NE(&e, &added);
  EXPECT_EQ(&added, l.beginNoSort()[2]);
  EXPECT_EQ("k", presentOrder(l).back());
  EXPECT_EQ(4, added.weight());

  addKeys(l, {"k"});
  EXPECT_EQ(2, static_cast<int>(l.end("k") - l.begin("k")));
  e.getSingle().set("newer");
  l.replace("k", e);
  ASSERT_EQ(1, static_cast<int>(l.end("k") - l.begin("k")));
  EXPECT_EQ("newer", str(l.getElement("k").getSingle().value()));
  EXPECT_EQ(3, l.size());

  // e is the very element that replace erases.
  Element& self = l.replace("k", l.getElement("k"));
  EXPECT_EQ("newer", str(self.getSingle().value()));
  EXPECT_EQ(3, l.size());
  EXPECT_EQ(&self, l.endNoSort()[-1]);

  // The clone's key need not be the replaced key.
  addKeys(l, {"k"});
  l.replace("k", Element("other"));
  EXPECT_FALSE(l.has("k"));
  EXPECT_TRUE(l.has("other"));
  EXPECT_EQ("other", presentOrder(l).back());
  EXPECT_EQ(3, l.size());
}

// A key changed in place is not noticed until the next change of the list.
TEST(MultiElementValue, KeyChangedInPlace) {
  MultiElementValue l;
  addKeys(l, {"a", "b", "c"});
  l.getElement("a").key("z");
  EXPECT_EQ(1, l.sortState());
  l.has("z");
  l.begin("z");
  EXPECT_EQ(Keys({"z", "b", "c"}), presentOrder(l));

  l.addSingle("d");
  EXPECT_TRUE(l.has("z"));
  EXPECT_FALSE(l.has("a"));
  EXPECT_EQ(Keys({"b", "c", "d", "z"}), presentOrder(l));

  // Weights likewise.
  l.getElement("b").weight(9);
  l.beginW(-1);
  EXPECT_EQ(Keys({"c", "d", "z", "b"}), presentOrder(l));
  (*l.beginNoSort())->weight(20);
  l.beginW(-1);
  l.endW(20);
  EXPECT_EQ(Keys({"c", "d", "z", "b"}), presentOrder(l));
  l.addSingle("e");
  EXPECT_EQ(Keys({"d", "e", "z", "b", "c"}), keysOf(l.beginW(-1), l.endW(-1)));
}

// assign appends clones of another list's range; the elements already there stay.
TEST(MultiElementValue, AssignAppendsClones) {
  MultiElementValue l;
  addKeys(l, {"x"});
  MultiElementValue other;
  Keys many;
  for (int i = 0; i < 15; ++i) many.push_back("k" + std::to_string(i));
  addKeys(other, many);
  l.assign(other.beginNoSort(), other.endNoSort());
  ASSERT_EQ(16, l.size());
  Keys expected = {"x"};
  expected.insert(expected.end(), many.begin(), many.end());
  EXPECT_EQ(expected, presentOrder(l));
  EXPECT_NE(l.beginNoSort()[1], other.beginNoSort()[0]);
  l.getElement("k0").getSingle().set("changed");
  EXPECT_EQ("k0", str(other.getElement("k0").getSingle().value()));
  EXPECT_EQ(15, other.size());

  const MultiElementValue& c = other;
  l.assign(c.beginNoSort() + 2, c.beginNoSort() + 4);
  EXPECT_EQ(18, l.size());
  l.assign(c.endNoSort(), c.endNoSort());
  EXPECT_EQ(18, l.size());
}

// GetSingleValueFromMultiElement<BDate> reads dates, and reports absent keys and other kinds.
TEST(GetSingleValueFromMultiElement, ReadsDate) {
  MultiElementValue l;
  l.addSingle("StudyDate").set("2009-03-07");
  l.addSingle("Bad").set("garbage");
  l.addElement("NoValue", AttributeVector(), -1);
  l.addMulti("Multi").addSingle().set("2009-03-07");
  l.addMultiElement("List").addSingle("x").set("2009-03-07");
  const BDate preset(2000, 1, 2);

  BDate d = preset;
  EXPECT_TRUE(QVS::GetSingleValueFromMultiElement(l, "StudyDate", d));
  EXPECT_EQ(BDate(2009, 3, 7), d);

  d = preset;
  EXPECT_TRUE(QVS::GetSingleValueFromMultiElement(l, "Bad", d));
  EXPECT_FALSE(d.IsValid());

  d = preset;
  EXPECT_TRUE(QVS::GetSingleValueFromMultiElement(l, "NoValue", d));
  EXPECT_EQ(BDate(), d);

  for (const char* key : {"Absent", "Multi", "List"}) {
    d = preset;
    EXPECT_FALSE(QVS::GetSingleValueFromMultiElement(l, key, d)) << key;
    EXPECT_EQ(preset, d) << key;
  }
}

// ---------------------------------------------------------------------------------
// Equality

// Checks a == b against expected, through every overload, and that != negates it.
template <class T>
void expectEqual(const T& a, const T& b, bool expected, const char* what) {
  EXPECT_EQ(expected, a == b) << what;
  EXPECT_EQ(!expected, a != b) << what;
  EXPECT_EQ(expected, b == a) << what;
  const ValueBase& va = a;
  const ValueBase& vb = b;
  EXPECT_EQ(expected, va == vb) << what;
  EXPECT_EQ(!expected, va != vb) << what;
}

SingleValue single(const std::string& text) {
  SingleValue v;
  v.set(text.data(), static_cast<unsigned int>(text.size()));
  return v;
}

// Single values are equal when their bytes are, zero bytes and length included.
TEST(ValueEquality, SingleValues) {
  const std::vector<std::pair<Keys, bool>> cases = {
      {{"a", "a"}, true},  {{"", ""}, true},  {{"a", "b"}, false},
      {{"a", "A"}, false}, {{"a", std::string("a\0", 2)}, false},
      {{std::string("a\0b", 3), std::string("a\0c", 3)}, false}};
  for (const auto& c : cases) {
    expectEqual(single(c.first[0]), single(c.first[1]), c.second, c.first[1].c_str());
  }
}

// Values of different kinds never compare equal, even when both are empty.
TEST(ValueEquality, KindsDiffer) {
  const SingleValue s;
  MultiValue m;
  MultiElementValue l;
  const ValueBase* values[] = {&s, &m, &l};
  for (const ValueBase* a : values) {
    for (const ValueBase* b : values) {
      EXPECT_EQ(a == b, *a == *b);
      EXPECT_EQ(a != b, *a != *b);
    }
  }
  m.addSingle().set("x");
  EXPECT_FALSE(static_cast<const ValueBase&>(single("x")) == static_cast<const ValueBase&>(m));
}

// Value lists are equal item by item, in order.
TEST(ValueEquality, MultiValues) {
  auto make = [](const Keys& texts) {
    auto m = std::unique_ptr<MultiValue>(new MultiValue);
    for (const std::string& t : texts) m->addSingle().set(t.c_str());
    return m;
  };
  expectEqual(*make({}), *make({}), true, "empty");
  expectEqual(*make({"a", "b"}), *make({"a", "b"}), true, "same");
  expectEqual(*make({"a", "b"}), *make({"b", "a"}), false, "order");
  expectEqual(*make({"a"}), *make({"a", "b"}), false, "size");
  expectEqual(*make({""}), *make({}), false, "empty item");

  auto nested = [&make](const char* inner) {
    auto m = make({"a"});
    m->addValue(make({"x", inner}).release());
    m->addMultiElement().addSingle("k").set(inner);
    return m;
  };
  expectEqual(*nested("y"), *nested("y"), true, "nested same");
  expectEqual(*nested("y"), *nested("z"), false, "nested differs");
}

// Element lists compare keys and values in key order; weights and attributes do not count.
TEST(ValueEquality, ElementLists) {
  MultiElementValue a;
  addKeys(a, {"x", "y", "z"});
  MultiElementValue b;
  addKeys(b, {"z", "x", "y"});
  expectEqual(a, b, true, "insertion order");
  EXPECT_EQ(1, a.sortState());
  EXPECT_EQ(1, b.sortState());

  MultiElementValue w;
  w.addSingle("y", {{"n", "v"}}, 5).set("y");
  w.addSingle("x", AttributeVector(), 7).set("x");
  w.addSingle("z", {{"o", "p"}}, 1).set("z");
  expectEqual(a, w, true, "weights and attributes ignored");

  MultiElementValue otherValue;
  addKeys(otherValue, {"x", "y"});
  otherValue.addSingle("z").set("Z");
  expectEqual(a, otherValue, false, "value differs");

  MultiElementValue otherKey;
  addKeys(otherKey, {"x", "y"});
  otherKey.addSingle("zz").set("z");
  expectEqual(a, otherKey, false, "key differs, values equal");

  MultiElementValue shorter;
  addKeys(shorter, {"x", "y"});
  expectEqual(a, shorter, false, "size differs");

  MultiElementValue kindDiffers;
  addKeys(kindDiffers, {"x", "y"});
  kindDiffers.addMulti("z").addSingle().set("z");
  expectEqual(a, kindDiffers, false, "value kind differs");

  MultiElementValue empty1;
  MultiElementValue empty2;
  expectEqual(empty1, empty2, true, "empty");
}

// Nested element lists compare equal regardless of the order at each level.
TEST(ValueEquality, NestedElementLists) {
  auto build = [](const Keys& order, const Keys& innerOrder) {
    std::unique_ptr<MultiElementValue> l(new MultiElementValue);
    for (const std::string& k : order) addKeys(l->addMultiElement(cs(k)), innerOrder);
    return l;
  };
  const std::unique_ptr<MultiElementValue> a = build({"p", "q"}, {"1", "2"});
  const std::unique_ptr<MultiElementValue> b = build({"q", "p"}, {"2", "1"});
  expectEqual(*a, *b, true, "order");
  b->getElement("q").getMultiElement().getElement("1").getSingle().set("x");
  expectEqual(*a, *b, false, "leaf");
}

// Two value-less elements are equal; a value-less element differs from a valued one.
TEST(ValueEquality, ElementsWithoutValue) {
  MultiElementValue a;
  a.addElement("k", AttributeVector(), -1);
  MultiElementValue b;
  b.addElement("k", AttributeVector(), 3);
  MultiElementValue valued;
  valued.addSingle("k");
  expectEqual(a, b, true, "both without value");
  expectEqual(a, valued, false, "without vs with");
  expectEqual(valued, a, false, "with vs without");
}

// ---------------------------------------------------------------------------------
// Dump

// A list with an attribute, a single text and a value list, written byte for byte.
TEST(ValueDump, Example) {
  MultiElementValue l;
  l.addSingle("a", {{"id", "7"}}).set("x");
  MultiValue& m = l.addMulti("b");
  m.addSingle().set("1");
  m.addSingle().set("2");
  EXPECT_EQ("\n\tkey = <a><id, 7>  value = x\n\tkey = <b> value = \n\t\tvalue 0: 1 value 1: 2 \n",
            dumpOf(l));
}

// Empty lists and single values: the line feed and tabs only, and the text alone.
TEST(ValueDump, EmptyListsAndSingles) {
  EXPECT_EQ("\n", dumpOf(MultiElementValue()));
  EXPECT_EQ("\n", dumpOf(MultiElementValue(), 3));
  EXPECT_EQ("\n\t", dumpOf(MultiValue()));
  EXPECT_EQ("\n\t\t\t", dumpOf(MultiValue(), 2));
  EXPECT_EQ("x", dumpOf(single("x"), 5));
  EXPECT_EQ(std::string("a\0b", 3), dumpOf(single(std::string("a\0b", 3))));
}

// Nested lists indent one tab deeper per level; attributes are written in list order.
TEST(ValueDump, NestedLists) {
  MultiElementValue l;
  MultiElementValue& outer = l.addMultiElement("outer", {{"n1", "v1"}, {"n2", "v2"}});
  outer.addSingle("in").set("v");
  MultiValue& m = l.addMulti("list");
  m.addSingle().set("1");
  m.addMulti().addSingle().set("2");
  m.addMultiElement().addSingle("e").set("3");
  EXPECT_EQ(
      "\n"
      "\tkey = <list> value = \n"
      "\t\tvalue 0: 1 value 1: \n"
      "\t\t\tvalue 0: 2  value 2: \n"
      "\t\t\tkey = <e> value = 3\n"
      " \n"
      "\tkey = <outer><n1, v1> <n2, v2>  value = \n"
      "\t\tkey = <in> value = v\n"
      "\n",
      dumpOf(l));
  EXPECT_EQ("\n\t\t\tvalue 0: 1 value 1: \n\t\t\t\tvalue 0: 2  value 2: \n"
            "\t\t\t\tkey = <e> value = 3\n ",
            dumpOf(m, 2));
}

// Item numbers are decimal whatever base the stream is set to.
TEST(ValueDump, ItemNumbersAreDecimal) {
  MultiValue m;
  for (int i = 0; i < 11; ++i) m.addSingle().set(i == 10 ? "last" : "");
  std::ostringstream os;
  os << std::hex << std::showbase;
  m.dump(os, 0);
  const std::string tail = "value 10: last ";
  ASSERT_GE(os.str().size(), tail.size());
  EXPECT_EQ(tail, os.str().substr(os.str().size() - tail.size()));
}

// An element list is dumped in weight order, and is left in it.
TEST(ValueDump, WeightOrder) {
  MultiElementValue l;
  l.addSingle("a", AttributeVector(), 2).set("3");
  l.addSingle("c", AttributeVector(), 1).set("2");
  l.addSingle("b", AttributeVector(), 1).set("1");
  l.begin();
  EXPECT_EQ("\n\tkey = <b> value = 1\n\tkey = <c> value = 2\n\tkey = <a> value = 3\n",
            dumpOf(l));
  EXPECT_EQ(2, l.sortState());
}

// An element without value throws NoValueSetEx after its key and " value = " are written.
TEST(ValueDump, ElementWithoutValueThrowsAfterPartialOutput) {
  MultiElementValue l;
  l.addSingle("a").set("1");
  l.addElement("b", {{"p", "q"}}, -1);
  l.addSingle("c").set("3");
  std::ostringstream os;
  EXPECT_THROW_WHAT(l.dump(os, 0), Element::NoValueSetEx, kNoValue);
  EXPECT_EQ("\n\tkey = <a> value = 1\n\tkey = <b><p, q>  value = ", os.str());

  MultiValue m;
  m.addMultiElement().addElement("x", AttributeVector(), -1);
  std::ostringstream nested;
  EXPECT_THROW_WHAT(m.dump(nested, 0), Element::NoValueSetEx, kNoValue);
  EXPECT_EQ("\n\tvalue 0: \n\t\tkey = <x> value = ", nested.str());
}

// ---------------------------------------------------------------------------------
// Line input

using QVS::operator>>;

// A line of up to 10239 characters is read whole; the line feed stays in the stream.
TEST(LineInput, ReadsOneLine) {
  const std::string line(10239, 'a');
  std::istringstream in(line + "\nnext");
  ACE_CString s;
  EXPECT_EQ(&in, &(in >> s));
  EXPECT_EQ(line, str(s));
  EXPECT_TRUE(in.good());
  EXPECT_EQ('\n', in.get());

  std::istringstream blanks(" a\tb c \r\n");
  blanks >> s;
  EXPECT_EQ(" a\tb c \r", str(s));
}

// A longer line is read as 10239 characters, the rest by the next call.
TEST(LineInput, LongLineSplits) {
  std::string line(10300, 'x');
  line[10238] = 'y';
  line[10239] = 'z';
  std::istringstream in(line + "\n");
  ACE_CString s;
  in >> s;
  EXPECT_EQ(line.substr(0, 10239), str(s));
  EXPECT_FALSE(in.fail());
  in >> s;
  EXPECT_EQ(line.substr(10239), str(s));
  EXPECT_EQ(61u, s.length());
  EXPECT_FALSE(in.fail());
  EXPECT_EQ('\n', in.get());
}

// Nothing to read empties the string and sets the fail state; the line feed stays.
TEST(LineInput, EmptyLineAndEndOfInput) {
  std::istringstream in("\nrest");
  ACE_CString s("old");
  in >> s;
  EXPECT_EQ(0u, s.length());
  EXPECT_TRUE(in.fail());
  in.clear();
  EXPECT_EQ('\n', in.get());

  std::istringstream last("last");
  last >> s;
  EXPECT_EQ("last", str(s));
  EXPECT_FALSE(last.fail());
  EXPECT_TRUE(last.eof());
  s = "old";
  last >> s;
  EXPECT_EQ(0u, s.length());
  EXPECT_TRUE(last.fail());
}

// ---------------------------------------------------------------------------------
// Deep trees

constexpr int kDeep = 100000;

// A chain of depth levels: each element's value is a list holding one element "k";
// the last one holds the single text leaf.
std::unique_ptr<Element> deepElementChain(int depth, const char* leaf) {
  std::unique_ptr<Element> root(new Element("root"));
  Element* e = root.get();
  for (int i = 0; i < depth; ++i) {
    e = &e->addMultiElement().addElement("k", AttributeVector(), i % 3);
  }
  e->addSingle().set(leaf);
  return root;
}

Element& bottomOf(Element& e) {
  Element* p = &e;
  while (p->hasValue() && p->value().type() == ValueBase::MultiElement) p = &onlyChild(*p);
  return *p;
}

int depthOf(Element& e) {
  int depth = 0;
  for (Element* p = &e; p->hasValue() && p->value().type() == ValueBase::MultiElement;
       p = &onlyChild(*p)) {
    ++depth;
  }
  return depth;
}

// Copying, cloning, assigning, comparing and destroying a very deep element tree work.
TEST(DeepTree, ElementChain) {
  std::unique_ptr<Element> root = deepElementChain(kDeep, "leaf");
  Element copy(*root);
  std::unique_ptr<Element> clone(root->clone());
  Element assigned;
  assigned = *root;
  for (Element* e : {&copy, clone.get(), &assigned}) {
    EXPECT_TRUE(e->getMultiElement() == root->getMultiElement());
    EXPECT_FALSE(e->getMultiElement() != root->getMultiElement());
  }
  EXPECT_EQ("leaf", str(bottomOf(copy).getSingle().value()));

  bottomOf(copy).getSingle().set("other");
  EXPECT_TRUE(copy.getMultiElement() != root->getMultiElement());
  EXPECT_FALSE(copy.getMultiElement() == root->getMultiElement());
  EXPECT_EQ("leaf", str(bottomOf(*root).getSingle().value()));
  bottomOf(*clone).clear();
  EXPECT_TRUE(clone->getMultiElement() != root->getMultiElement());

  // Source inside the target's own subtree.
  assigned = onlyChild(assigned);
  EXPECT_EQ(kDeep - 1, depthOf(assigned));
  EXPECT_TRUE(assigned.getMultiElement() == onlyChild(*root).getMultiElement());

  root.reset();
  clone.reset();
}

// A very deep value list: text, clone, comparison and destruction work.
TEST(DeepTree, MultiValueChain) {
  Element holder;
  MultiValue* m = &holder.addMulti();
  for (int i = 0; i < kDeep; ++i) {
    m->addSingle().set("L");
    m = &m->addMulti();
  }
  m->addSingle().set("x");

  std::string expected;
  for (int i = 0; i < kDeep; ++i) expected += "L ";
  expected += "x";
  EXPECT_EQ(expected, str(holder.getMulti().valueAsString()));
  EXPECT_FALSE(holder.hasEmptyValue());

  std::unique_ptr<MultiValue> clone(holder.getMulti().clone());
  EXPECT_TRUE(*clone == holder.getMulti());
  Element copy(holder);
  EXPECT_TRUE(copy.getMulti() == holder.getMulti());

  MultiValue* c = clone.get();
  while (c->size() == 2) c = static_cast<MultiValue*>(c->begin()[1]);
  static_cast<SingleValue*>(c->begin()[0])->set("y");
  EXPECT_TRUE(*clone != holder.getMulti());
  EXPECT_EQ(expected, str(holder.getMulti().valueAsString()));
}

// Runs f on a thread with a 256 KiB stack: a dump that recursed per level would
// overflow it at the depths used below, while their output stays a few megabytes (a dump
// writes one tab per level on every line, so its size grows with the square of the depth).
void runOnSmallStack(std::function<void()> f) {
  pthread_attr_t attr;
  ASSERT_EQ(0, pthread_attr_init(&attr));
  ASSERT_EQ(0, pthread_attr_setstacksize(&attr, 256 * 1024));
  pthread_t thread;
  auto body = [](void* arg) -> void* {
    (*static_cast<std::function<void()>*>(arg))();
    return nullptr;
  };
  ASSERT_EQ(0, pthread_create(&thread, &attr, body, &f));
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
}

// Dumping deep element and value lists writes every level without recursing.
TEST(DeepTree, Dump) {
  const int depth = 4000;
  std::unique_ptr<Element> root = deepElementChain(depth, "leaf");
  Element holder;
  MultiValue* m = &holder.addMulti();
  for (int i = 1; i < depth; ++i) m = &m->addMulti();
  m->addSingle().set("x");

  std::string elements;
  std::string values;
  bool threw = false;
  runOnSmallStack([&] {
    try {
      std::ostringstream a;
      root->getMultiElement().dump(a, 0);
      elements = a.str();
      std::ostringstream b;
      holder.getMulti().dump(b, 0);
      values = b.str();
    } catch (...) {
      threw = true;
    }
  });
  ASSERT_FALSE(threw);

  // Element list at level i (indent i): "\n", i + 1 tabs, "key = <k>", " value = ", the
  // child's dump, "\n"; the last child is "leaf".
  std::size_t size = 4;
  for (int i = 0; i < depth; ++i) size += 1 + (i + 1) + 9 + 9 + 1;
  EXPECT_EQ(size, elements.size());
  const std::string head = "\n\tkey = <k> value = \n\t\tkey = <k> value = \n\t\t\tkey";
  EXPECT_EQ(head, elements.substr(0, head.size()));
  const std::string tail = std::string(depth, '\t') + "key = <k> value = leaf" +
                           std::string(depth, '\n');
  ASSERT_GE(elements.size(), tail.size());
  EXPECT_EQ(tail, elements.substr(elements.size() - tail.size()));

  // Value list at level i: "\n", i + 1 tabs, "value 0: ", the item's dump, " ".
  size = 1;
  for (int i = 0; i < depth; ++i) size += 1 + (i + 1) + 9 + 1;
  EXPECT_EQ(size, values.size());
  const std::string vtail = std::string(depth, '\t') + "value 0: x" + std::string(depth, ' ');
  ASSERT_GE(values.size(), vtail.size());
  EXPECT_EQ(vtail, values.substr(values.size() - vtail.size()));
}

}  // namespace
