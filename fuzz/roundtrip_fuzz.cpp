// fuzz/roundtrip_fuzz.cpp: an element tree made from the fuzz bytes, written with
// QVS::XmlUtils::streamOut and read back with streamIn, must come back as written.
//
// The form cannot carry everything a tree can hold, so the generator keeps to what it
// can and the comparison expects what the form makes of the rest:
// - keys and attribute names are ASCII XML names other than "val", unique per element;
//   every element has a value (an element without one is not written at all);
// - texts are not empty (an empty text reads back as no value) and hold no zero byte;
//   no value list is an item of another (the reader splices such a list);
// - control bytes other than tab, line feed and carriage return are written as spaces;
//   a tab in an attribute value reads back as a space (attribute-value normalization);
// - bytes 0x80-0x9F come back as "?" in texts (Windows-1252 gives those code points
//   other characters) but as themselves in attribute values;
// - an empty list reads back as no value, a value-list item that is an empty element
//   list is dropped, weights below the root read back as -1 and are not compared.
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "fuzz_support.h"
#include "xml/qvs/xmlutils.h"
#include "xml/xmlexception.h"

namespace {

class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : p_(data), n_(size) {}
  unsigned next() {
    if (n_ == 0) return 0;
    --n_;
    return *p_++;
  }

 private:
  const std::uint8_t* p_;
  std::size_t n_;
};

constexpr int kMaxDepth = 5;
constexpr int kMaxElements = 300;

class Generator {
 public:
  explicit Generator(Bytes& in) : in_(in) {}

  void element(QVS::Element& e, int depth) {
    ++elements_;
    e.key(name().c_str());
    e.weight(static_cast<int>(in_.next() % 5) - 2);
    std::set<std::string> names;
    for (unsigned n = in_.next() % 4; n > 0; --n) {
      const std::string attribute = name();
      if (names.insert(attribute).second) e.insertAttribute(attribute.c_str(), text().c_str());
    }
    const unsigned kind = depth >= kMaxDepth || elements_ >= kMaxElements ? 0 : in_.next() % 3;
    if (kind == 0) {
      e.addSingle().set(text().c_str());
    } else if (kind == 1) {
      children(e.addMultiElement(), depth);
    } else {
      QVS::MultiValue& items = e.addMulti();
      for (unsigned n = in_.next() % 4; n > 0; --n) {
        if (in_.next() % 2 == 0) {
          items.addSingle().set(text().c_str());
        } else {
          children(items.addMultiElement(), depth);
        }
      }
    }
  }

 private:
  void children(QVS::MultiElementValue& list, int depth) {
    for (unsigned n = in_.next() % 4; n > 0 && elements_ < kMaxElements; --n) {
      QVS::Element child;
      element(child, depth + 1);
      list.addElement(child);
    }
  }

  std::string name() {
    static const char kFirst[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
    static const char kRest[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789.-";
    std::string s(1, kFirst[in_.next() % (sizeof kFirst - 1)]);
    for (unsigned n = in_.next() % 8; n > 0; --n) s += kRest[in_.next() % (sizeof kRest - 1)];
    if (s == "val") s += "x";
    return s;
  }

  std::string text() {
    std::string s;
    for (unsigned n = 1 + in_.next() % 24; n > 0; --n) s += static_cast<char>(1 + in_.next() % 255);
    return s;
  }

  Bytes& in_;
  int elements_ = 0;
};

// A text as the form gives it back: in texts (attribute = false) or attribute values.
std::string carried(const ACE_CString& text, bool attribute) {
  std::string out;
  for (std::size_t i = 0; i < text.length(); ++i) {
    const unsigned char c = text[i];
    if (c < 0x20 && c != '\n' && c != '\r' && (c != '\t' || attribute)) {
      out += ' ';
    } else if (c >= 0x80 && c <= 0x9F && !attribute) {
      out += '?';
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

// What fuzz::describe gives for the tree read back from element's XML form.
std::string expected(const QVS::Element& e, const std::string& prefix);

std::string expectedValue(const QVS::ValueBase& v, const std::string& prefix) {
  if (v.type() == QVS::ValueBase::Single) {
    return "'" + carried(static_cast<const QVS::SingleValue&>(v).value(), false) + "'";
  }
  std::string out;
  if (v.type() == QVS::ValueBase::Multi) {
    for (const QVS::ValueBase* item : static_cast<const QVS::MultiValue&>(v)) {
      if (item->size() > 0 || item->type() == QVS::ValueBase::Single) out += expectedValue(*item, prefix);
    }
    return "[" + out + "]";
  }
  const auto& list = static_cast<const QVS::MultiElementValue&>(v);
  for (auto it = list.beginNoSort(); it != list.endNoSort(); ++it) out += expected(**it, prefix);
  return "{" + out + "}";
}

std::string expected(const QVS::Element& e, const std::string& prefix) {
  std::string out = " \"" + prefix + e.key().c_str() + "\"";
  for (const QVS::Attribute& a : e.attributes()) {
    out += std::string(" \"") + a.first.c_str() + "\"=\"" + carried(a.second, true) + "\"";
  }
  if (e.hasValue() && (e.value().type() == QVS::ValueBase::Single || e.value().size() > 0)) {
    out += expectedValue(e.value(), prefix);
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::quietLog();
  Bytes in(data, size);
  const unsigned mode = in.next();
  const QVS::XmlUtils::Ordering order = mode & 1 ? QVS::XmlUtils::ByWeight : QVS::XmlUtils::ByKey;
  const std::string prefix = mode & 2 ? "q:" : "";
  QVS::Element tree;
  Generator(in).element(tree, 0);

  OutputMemStream out;
  QVS::XmlUtils::streamOut(tree, out, order, prefix.c_str());
  InputMemStream back(out.data(), static_cast<unsigned int>(out.size()));
  QVS::Element read;
  try {
    QVS::XmlUtils::streamIn(back, read, "roundtrip.xml");
  } catch (const XmlException::XmlExceptionBase& e) {
    std::fprintf(stderr, "the written tree does not read back: %s\n%.*s\n", e.what(),
                 static_cast<int>(out.size()), out.data());
    FUZZ_CHECK(false);
  }
  // Writing sorted every list into the written order, which the reader keeps.
  const std::string want = expected(tree, prefix);
  const std::string got = fuzz::describe(read);
  if (want != got) {
    std::fprintf(stderr, "written:  %.*s\nexpected: %s\nread:     %s\n", static_cast<int>(out.size()),
                 out.data(), want.c_str(), got.c_str());
  }
  FUZZ_CHECK(want == got);
  return 0;
}
