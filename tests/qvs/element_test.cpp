// tests/qvs/element_test.cpp: the QVS element tree: elements, the three value kinds,
// keyed and weighted access to element lists, equality, dump, line input, and trees far
// deeper than the call stack.
#include <pthread.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/throws.h"
#include "xml/qvs/element.h"

namespace {

using namespace QVS;
using List = std::unique_ptr<MultiElementValue>;

const char kNoValue[] = "QVS::Element: the element does not have a value.";
const char kBadType[] = "QVS::Element: invalid value type.";

std::string str(const ACE_CString& s) { return std::string(s.c_str(), s.length()); }

// The keys of [first, last) joined by commas, e.g. "b,a,c".
template <class It>
std::string keys(It first, It last) {
  std::string joined;
  for (It it = first; it != last; ++it) joined += (it == first ? "" : ",") + str((*it)->key());
  return joined;
}

// The list's present order; never sorts.
std::string order(const MultiElementValue& l) { return keys(l.beginNoSort(), l.endNoSort()); }

struct KeyWeight {
  KeyWeight(const char* k, int w = -1) : key(k), weight(w) {}
  const char* key;
  int weight;
};

// A list of one element per (key, weight), each holding its key as single value.
List list(std::initializer_list<KeyWeight> elements) {
  List l(new MultiElementValue);
  for (const KeyWeight& e : elements) l->addSingle(e.key, AttributeVector(), e.weight).set(e.key);
  return l;
}

SingleValue text(const std::string& s) {
  SingleValue v;
  v.set(s.data(), static_cast<unsigned int>(s.size()));
  return v;
}

std::string dumpOf(const ValueBase& v, unsigned int indent = 0) {
  std::ostringstream os;
  v.dump(os, indent);
  return os.str();
}

// Getters answer the value of their kind and throw (with the exact texts) otherwise;
// value(v) stores a copy, also of a value inside the element's own; clear() drops only
// the value.
TEST(ElementValue, GettersCopyAndClear) {
  Element e("k", 4);
  const Element& c = e;
  EXPECT_THROW_WHAT(c.value(), Element::NoValueSetEx, kNoValue);
  EXPECT_THROW_WHAT(c.getMulti(), Element::NoValueSetEx, kNoValue);
  e.addSingle().set("old");
  EXPECT_THROW_WHAT(e.getMulti(), Element::InvalidValueTypeEx, kBadType);
  EXPECT_THROW_WHAT(c.getMultiElement(), Element::InvalidValueTypeEx, kBadType);
  EXPECT_EQ("old", str(c.getSingle().value()));
  e.addMulti().addMulti().addMultiElement().addSingle("k").set("k");
  e.value(**e.getMulti().begin());
  EXPECT_TRUE(e.getMulti().size() == 1 &&
              **c.getMulti().begin() == static_cast<const ValueBase&>(*list({"k"})));
  e.clear();
  EXPECT_TRUE(!e.hasValue() && str(e.key()) == "k" && e.weight() == 4);
}

// hasEmptyValue: true without value, or when the value's text is non-empty white space.
TEST(ElementValue, HasEmptyValue) {
  const std::tuple<char, std::vector<std::string>, bool> cases[] = {
      {'-', {}, true},      {'s', {""}, false},      {'s', {" \t\n\v\f\r"}, true},
      {'s', {" x"}, false}, {'s', {" \xA0"}, false}, {'m', {}, false},
      {'m', {"", ""}, true}, {'m', {" ", "x"}, false}, {'l', {" "}, false}};
  for (const auto& [kind, texts, empty] : cases) {
    MultiValue m;
    for (const std::string& t : texts) m.addValue(text(t));
    Element e;
    if (kind == 's') e.value(**m.begin());
    if (kind == 'm') e.value(m);
    if (kind == 'l') e.addMultiElement().addValue("k", m);
    EXPECT_EQ(empty, e.hasEmptyValue()) << kind << ::testing::PrintToString(texts);
  }
}

// MultiValue joins its items' texts cut at their first zero byte (element lists give ""),
// appends clones or adopts, and erase returns the next item.
TEST(MultiValue, ItemsTextAndErase) {
  MultiValue m;
  m.addValue(text(std::string("a\0b", 3)));
  m.addMultiElement().addSingle("k").set("hidden");
  auto* adopted = new SingleValue;
  m.addValue(adopted);
  adopted->set("c");
  EXPECT_EQ("a  c", str(m.valueAsString()));
  EXPECT_EQ(adopted, *m.erase(m.begin() + 1));
  EXPECT_EQ("a c", str(m.valueAsString()));
}

Element makeSample() {
  Element e("root", 3);
  e.insertAttribute("id", "1");
  MultiElementValue& l = e.addMultiElement();
  l.addSingle("b", {{"x", "y"}}, 2).set("B");
  l.addMulti("a").addMultiElement().addSingle("deep").set("D");
  l.addElement("none", AttributeVector(), 1);
  return e;
}

// Copies, clones and assignments are deep: changing them at any depth leaves the source.
// Self-assignment keeps the value; the source may lie in the target's own subtree; a
// value-less source leaves no value. Attributes keep duplicates, the first match answers
// and is the one erased; insertAttributes with the own list changes nothing; absent
// attributes answer one shared "".
TEST(ElementCopy, DeepIndependentAndAliasSafe) {
  const Element source = makeSample();
  Element copy(source), assigned;
  assigned = source;
  std::unique_ptr<Element> clone(source.clone());
  for (Element* c : {&copy, &assigned, clone.get()}) {
    EXPECT_TRUE(str(c->key()) == "root" && c->weight() == 3 && c->attributeSize() == 1);
    EXPECT_TRUE(c->getMultiElement() == source.getMultiElement());
    MultiElementValue& l = c->getMultiElement();
    l.getElement("b").getSingle().set("changed");
    static_cast<MultiElementValue*>(*l.getElement("a").getMulti().begin())->addSingle("more");
    l.getElement("none").addSingle();
    c->insertAttribute("id", "2");
  }
  EXPECT_TRUE(makeSample().getMultiElement() == source.getMultiElement());
  bool found = false;
  EXPECT_TRUE(str(copy.getAttributeValue("id", found)) == "1" && source.attributeSize() == 1);
  copy.insertAttributes(copy.attributes());
  copy.eraseAttribute("id");
  EXPECT_TRUE(str(copy.getAttributeValue("id", found)) == "2" && found);
  EXPECT_TRUE(&Element().getAttributeValue("q", found) == &copy.getAttributeValue("q", found) &&
              !found);
  const ValueBase* before = &copy.value();
  copy = static_cast<Element&>(copy);
  EXPECT_EQ(before, &copy.value());
  copy = copy.getMultiElement().getElement("b");
  EXPECT_TRUE(copy.key() == "b" && copy.weight() == 2 && copy.getSingle().value() == "changed");
  copy = Element("empty");
  EXPECT_TRUE(!copy.hasValue() && copy.attributeSize() == 0);
}

// Key access sorts in place by unsigned bytes, a proper prefix first; weight access by
// signed weight, equal weights in key order; [beginW(w), endW(w)) holds weight w only.
TEST(MultiElementValue, KeyAndWeightOrder) {
  List l = list({"ab", "z", "\xE9", "a", "B", ""});
  l->addElement(new Element(2, "a\0", -1));
  const std::string sorted(",B,a,a\0,ab,z,\xE9", 14);
  EXPECT_TRUE(keys(l->begin(), l->end()) == sorted && order(*l) == sorted) << order(*l);
  EXPECT_TRUE(l->has("\xE9") && l->has(ACE_CString("a\0", 2)));
  List w = list({{"x", 2}, {"a", 2}, {"m", 1}, {"z", -1}, {"q", -7}, {"o", -2147483647 - 1}});
  EXPECT_EQ("o,q,z,m,a,x", keys(w->beginW(-1), w->endW(-1)));
  EXPECT_EQ("a,x", keys(w->beginW(2), w->endW(2)));
  EXPECT_EQ("q", keys(std::as_const(*w).beginW(-7), std::as_const(*w).endW(-7)));
  EXPECT_TRUE(w->beginW(5) == w->endW(5) && w->beginW(0) == w->endW(0));
}

// Sort state: 1 after any keyed access, 2 after any weighted one, 0 after any change of
// the elements; the NoSort accessors and clear() keep it; clone() copies it, at every
// level, with the present order.
TEST(MultiElementValue, SortStateTransitions) {
  List owned = list({"b", "a"}), other = list({"o"});
  MultiElementValue& l = *owned;
  const MultiElementValue& c = l;
  const std::vector<std::function<void()>> keyed = {
      [&] { l.begin(); }, [&] { l.end(); }, [&] { c.begin(); }, [&] { c.end(); },
      [&] { l.begin("a"); }, [&] { l.end("a"); }, [&] { c.begin("a"); }, [&] { c.end("a"); },
      [&] { c.has("zz"); }, [&] { l.getElement("a"); }, [&] { c.getElement("a"); }};
  const decltype(keyed) weighted = {[&] { l.beginW(-1); }, [&] { l.endW(3); },
                                    [&] { c.beginW(2); }, [&] { c.endW(-1); }};
  const decltype(keyed) changes = {
      [&] { l.addElement(Element("n")); }, [&] { l.addElement(new Element("n")); },
      [&] { l.addElement("n", {}, 1); }, [&] { l.addSingle("n"); }, [&] { l.addMulti("n"); },
      [&] { l.addMultiElement("n"); }, [&] { l.addValue("n", SingleValue()); },
      [&] { l.assign(other->beginNoSort(), other->endNoSort()); },
      [&] { l.replace("a", Element("a")); }, [&] { l.erase("n"); },
      [&] { l.erase(l.endNoSort() - 1); }};
  for (std::size_t i = 0; i < keyed.size() * weighted.size(); ++i) {
    weighted[i % weighted.size()]();
    EXPECT_EQ(2, c.sortState()) << "weighted " << i % weighted.size();
    keyed[i / weighted.size()]();
    l.beginNoSort();
    EXPECT_EQ(1, c.sortState()) << "keyed " << i / weighted.size();
  }
  for (std::size_t i = 0; i < 2 * changes.size(); ++i) {
    (i % 2 == 0 ? keyed[0] : weighted[0])();
    changes[i / 2]();
    EXPECT_EQ(0, c.sortState()) << "change " << i / 2;
  }
  const List nested = list({{"y", 1}, {"x", 2}});
  nested->beginW(-1);
  l.addValue("n", *nested);
  const List copy(l.clone());
  EXPECT_TRUE(copy->sortState() == 0 && order(*copy) == order(l));
  const MultiElementValue& nestedCopy = copy->getElement("n").getMultiElement();
  EXPECT_TRUE(nestedCopy.sortState() == 2 && order(nestedCopy) == "y,x");
  l.begin();
  l.clear();
  EXPECT_EQ(1, c.sortState());
}

// begin(key)/end(key) bound exactly the key's elements; has and getElement agree; a
// missing key throws KeyNotFoundEx naming it; erase(key) removes every element with the
// key and erase(it) one, each returning the position after; replace clones e, erases
// every element with the key and appends the clone, also when e is one of the erased
// elements, has another key or no element had the key; assign appends clones.
TEST(MultiElementValue, SearchEraseReplace) {
  List l = list({"k", "a", "k", "z", "k"});
  const MultiElementValue& c = *l;
  EXPECT_EQ("k,k,k", keys(l->begin("k"), l->end("k")));
  EXPECT_EQ("k,k,k", keys(c.begin("k"), c.end("k")));
  EXPECT_TRUE(l->begin("c") == l->end("c") && str((*l->begin("c"))->key()) == "k");
  EXPECT_EQ("a", str(l->getElement("a").getSingle().value()));
  EXPECT_TRUE(c.has("k") && !c.has("c") && !c.has("") && !c.has("kk") && !c.has("zz"));
  EXPECT_THROW_WHAT(l->getElement("Study"), MultiElementValue::KeyNotFoundEx,
                    "key Study not found.");
  EXPECT_THROW_WHAT(c.getElement(""), QVRException, "key  not found.");
  MultiElementValue::KeyNotFoundEx assigned("x"), original("Study");
  assigned = MultiElementValue::KeyNotFoundEx(original);
  EXPECT_STREQ("key Study not found.", assigned.what());
  EXPECT_STREQ("", QVRException().what());
  EXPECT_EQ("z", str((*l->erase("k"))->key()));
  EXPECT_EQ("a,z", order(*l));
  EXPECT_EQ("z", str((*l->erase("m"))->key()));
  EXPECT_EQ("z", str((*l->erase(l->beginNoSort()))->key()));
  const MultiElementValue::iterator end = l->erase(l->begin("z"));
  EXPECT_TRUE(end == l->endNoSort() && l->size() == 0 && !l->has("z"));

  l = list({"b", "k", "a", "k"});
  const List source = list({{"k", 4}});
  Element& added = l->replace("k", **source->beginNoSort());
  EXPECT_TRUE(&added == l->endNoSort()[-1] && added.weight() == 4 && order(*l) == "a,b,k");
  Element& self = l->replace("k", l->getElement("k"));
  EXPECT_TRUE(str(self.getSingle().value()) == "k" && order(*l) == "a,b,k");
  l->replace("k", Element("other"));
  l->replace("absent", Element("x"));
  l->assign(source->beginNoSort(), source->endNoSort());
  EXPECT_EQ("a,b,other,x,k", order(*l));
}

// GetSingleValueFromMultiElement<BDate>: a single value is read (bad text: an invalid
// date), a value-less element gives BDate(); an absent key or another kind gives false
// and leaves the date.
TEST(GetSingleValueFromMultiElement, Outcomes) {
  MultiElementValue l;
  l.addSingle("Date").set("2009-03-07");
  l.addSingle("Bad").set("garbage");
  l.addElement("NoValue", AttributeVector(), -1);
  l.addMulti("Multi").addSingle().set("2009-03-07");
  const std::tuple<const char*, bool, unsigned int> cases[] = {  // 0: invalid date
      {"Date", true, 0x07D90307u}, {"Bad", true, 0}, {"NoValue", true, 0},
      {"Absent", false, 0x07D00102u}, {"Multi", false, 0x07D00102u}};
  for (const auto& [key, result, value] : cases) {
    BDate d(2000, 1, 2);
    const bool got = GetSingleValueFromMultiElement(l, key, d);
    EXPECT_TRUE(got == result && (d.IsValid() ? d.GetValue() : 0u) == value) << key;
  }
}

// a == b is expected through the own and the base operators, both ways; != negates it.
template <class T>
void expectEqual(const T& a, const T& b, bool expected, const char* what) {
  const ValueBase &va = a, &vb = b;
  EXPECT_TRUE(expected == (a == b) && expected != (a != b) && expected == (vb == va) &&
              expected != (va != vb))
      << what;
}

// Single values compare bytes; values of different kinds differ even when empty; value
// lists compare item by item in order; element lists compare keys and values in key
// order at every level, ignoring weights and attributes; two value-less elements are
// equal, a value-less and a valued one not.
TEST(ValueEquality, Rules) {
  const std::tuple<std::string, std::string, bool> singles[] = {
      {"a", "a", true}, {"", "", true}, {"a", "b", false}, {"a", std::string("a\0", 2), false},
      {std::string("a\0b", 3), std::string("a\0c", 3), false}};
  for (const auto& [a, b, equal] : singles) expectEqual(text(a), text(b), equal, b.c_str());
  const SingleValue s;
  MultiValue ab, ba, a;
  const MultiElementValue empty;
  const ValueBase* kinds[] = {&s, &ab, &empty};
  for (const ValueBase* x : kinds)
    for (const ValueBase* y : kinds) EXPECT_TRUE((x == y) == (*x == *y) && (x != y) == (*x != *y));
  for (const char* t : {"a", "b"}) ab.addValue(text(t));
  for (const char* t : {"b", "a"}) ba.addValue(text(t));
  a.addValue(text("a"));
  expectEqual(ab, *std::unique_ptr<MultiValue>(ab.clone()), true, "same");
  expectEqual(ab, ba, false, "order");
  expectEqual(ab, a, false, "size");

  const List xyz = list({"x", "y", "z"});
  List w = list({{"y", 5}, {"z", 1}, {"x", 7}}), v = list({"x", "y", "z"}), key = list({"x", "y"});
  w->getElement("y").insertAttribute("n", "v");
  v->getElement("z").getSingle().set("Z");
  key->addSingle("zz").set("z");
  expectEqual(*xyz, *w, true, "order, weights and attributes");
  expectEqual(*xyz, *v, false, "value");
  expectEqual(*xyz, *key, false, "key");
  expectEqual(*xyz, *list({"x", "y"}), false, "size");
  MultiElementValue n1, n2, none1, none2, valued;
  for (const char* k : {"p", "q"}) n1.addValue(k, *list({"1", "2"}));
  for (const char* k : {"q", "p"}) n2.addValue(k, *list({"2", "1"}));
  expectEqual(n1, n2, true, "nested order");
  none1.addElement("k", {}, -1);
  none2.addElement("k", {}, 3);
  valued.addSingle("k");
  expectEqual(none1, none2, true, "both without value");
  expectEqual(none1, valued, false, "without and with value");
}

// Dump bytes: one tab more per level, attributes in list order, element lists in weight
// order (and left in it), value items numbered in decimal even on a hex stream; an
// element without value throws NoValueSetEx after its key and " value = ".
TEST(ValueDump, ExactBytes) {
  EXPECT_EQ("\n", dumpOf(MultiElementValue(), 3));
  EXPECT_EQ("\n\t\t\t", dumpOf(MultiValue(), 2));
  EXPECT_EQ(std::string("a\0b", 3), dumpOf(text(std::string("a\0b", 3)), 5));
  MultiElementValue l;
  l.addMultiElement("outer", {{"n1", "v1"}, {"n2", "v2"}}, 1).addSingle("in").set("v");
  MultiValue& m = l.addMulti("list", {{"m", "1"}}, 2);
  m.addSingle().set("1");
  m.addMulti().addSingle().set("2");
  m.addMultiElement().addSingle("e").set("3");
  l.addValue("b", text("x"), {{"id", "7"}}, 2);
  std::string head =
      "\n\tkey = <outer><n1, v1> <n2, v2>  value = \n\t\tkey = <in> value = v\n\n"
      "\tkey = <b><id, 7>  value = x\n"
      "\tkey = <list><m, 1>  value = \n\t\tvalue 0: 1 value 1: \n\t\t\tvalue 0: 2  value 2: \n"
      "\t\t\tkey = <e> value = 3\n ";
  for (int i = 3; i <= 10; ++i) {
    m.addSingle();
    head += "value " + std::to_string(i) + ":  ";
  }
  std::ostringstream hex, partial;
  hex << std::hex << std::showbase;
  l.dump(hex, 0);
  EXPECT_EQ(head + "\n", hex.str());
  EXPECT_EQ(2, l.sortState());
  m.addMultiElement().addElement("x", {{"p", "q"}}, -1);
  EXPECT_THROW_WHAT(l.dump(partial, 0), Element::NoValueSetEx, kNoValue);
  EXPECT_EQ(head + "value 11: \n\t\t\tkey = <x><p, q>  value = ", partial.str());
}

// A line of up to 10239 characters is read whole and its line feed stays; a longer line
// is split after 10239; reading nothing empties the string and sets the fail state.
TEST(LineInput, LengthLimitAndEnd) {
  const std::string line = std::string(10238, 'x') + "yz" + std::string(60, 'x');
  const std::string head = line.substr(0, 10239);
  std::istringstream in(head + "\n" + line + "\n \t\r\n\nlast");
  ACE_CString s("old");
  const auto next = [&] { return (in >> s) ? str(s) : "<fail>" + str(s); };
  EXPECT_TRUE(&(in >> s) == &in && str(s) == head && in.get() == '\n');
  EXPECT_EQ(head, next());
  EXPECT_TRUE(next() == line.substr(10239) && in.get() == '\n');
  EXPECT_TRUE(next() == " \t\r" && in.get() == '\n');
  EXPECT_EQ("<fail>", next());
  in.clear();
  EXPECT_TRUE(in.get() == '\n' && next() == "last");
  EXPECT_EQ("<fail>", next());
}

// A chain of depth element lists each holding one element "k"; the last one holds leaf.
std::unique_ptr<Element> chain(int depth, const char* leaf) {
  std::unique_ptr<Element> root(new Element("root"));
  Element* e = root.get();
  for (int i = 0; i < depth; ++i) e = &e->addMultiElement().addElement("k", {}, i % 3);
  e->addSingle().set(leaf);
  return root;
}

Element& bottom(Element& e) {
  Element* p = &e;
  while (p->value().type() == ValueBase::MultiElement) p = *p->getMultiElement().beginNoSort();
  return *p;
}

// Copying, cloning, assigning (also from inside the own subtree), comparing and
// destroying 100,000-level trees work, and so do the text, copy and comparison of a
// value list that deep.
TEST(DeepTree, CopyCloneAssignCompareDestroy) {
  const int deep = 100000;
  std::unique_ptr<Element> root = chain(deep, "leaf");
  const MultiElementValue& r = root->getMultiElement();
  Element copy(*root), assigned;
  assigned = *root;
  std::unique_ptr<Element> clone(root->clone());
  EXPECT_TRUE(copy.getMultiElement() == r && clone->getMultiElement() == r &&
              assigned.getMultiElement() == r);
  bottom(copy).getSingle().set("other");
  bottom(*clone).clear();
  EXPECT_TRUE(copy.getMultiElement() != r && clone->getMultiElement() != r);
  assigned = **assigned.getMultiElement().beginNoSort();
  EXPECT_TRUE(assigned.getMultiElement() == (*r.beginNoSort())->getMultiElement());

  Element holder;
  MultiValue* m = &holder.addMulti();
  std::string expected;
  for (int i = 0; i < deep; ++i, expected += "L ") {
    m->addSingle().set("L");
    m = &m->addMulti();
  }
  m->addSingle().set("x");
  EXPECT_EQ(expected + "x", str(holder.getMulti().valueAsString()));
  const Element valueCopy(holder);
  static_cast<SingleValue*>(*m->begin())->set("y");
  EXPECT_TRUE(valueCopy.getMulti() != holder.getMulti());
}

// Dumping 4,000-level element and value lists on a thread with a 256 KiB stack (too small
// for a dump that recursed per level) writes every level.
TEST(DeepTree, DumpOnSmallStack) {
  const int depth = 4000;
  std::unique_ptr<Element> root = chain(depth, "leaf");
  Element holder;
  MultiValue* m = &holder.addMulti();
  for (int i = 1; i < depth; ++i) m = &m->addMulti();
  m->addSingle().set("x");
  std::string elements, values;
  std::function<void*()> dump = [&]() -> void* {
    elements = dumpOf(root->getMultiElement());
    values = dumpOf(holder.getMulti());
    return nullptr;
  };
  const auto body = [](void* f) { return (*static_cast<std::function<void*()>*>(f))(); };
  pthread_attr_t attr;
  pthread_t thread;
  ASSERT_TRUE(pthread_attr_init(&attr) == 0 && pthread_attr_setstacksize(&attr, 256 << 10) == 0);
  ASSERT_EQ(0, pthread_create(&thread, &attr, body, &dump));
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
  std::string expectedElements, expectedValues;
  for (int i = 1; i <= depth; ++i) {
    expectedElements += "\n" + std::string(i, '\t') + "key = <k> value = ";
    expectedValues += "\n" + std::string(i, '\t') + "value 0: ";
  }
  EXPECT_TRUE(elements == expectedElements + "leaf" + std::string(depth, '\n')) << elements.size();
  EXPECT_TRUE(values == expectedValues + "x" + std::string(depth, ' ')) << values.size();
}

}  // namespace

namespace {

// Elements come from their class's allocation functions; every form of new finds one.
TEST(Element, AllocationForms) {
  std::unique_ptr<QVS::Element> plain(new QVS::Element("a"));
  std::unique_ptr<QVS::Element> quiet(new (std::nothrow) QVS::Element("b"));
  ASSERT_NE(nullptr, quiet);
  alignas(QVS::Element) unsigned char storage[sizeof(QVS::Element)];
  QVS::Element* placed = new (storage) QVS::Element("c");
  EXPECT_EQ("c", placed->key());
  placed->~Element();
  EXPECT_EQ("a", plain->key());
}

}  // namespace
