// xml/writer/xmlattributes.cpp: XmlAttributes.
#include <cstring>

#include "xml/writer/detail/pieces.h"
#include "xml/writer/xmlemitter.h"

namespace {

inline const char* orEmpty(const char* s) { return s != nullptr ? s : ""; }

inline bool sameName(const ACE_CString& entry, const char* name) {
  const std::size_t n = std::strlen(name);
  return entry.length() == n && std::memcmp(entry.fast_rep(), name, n) == 0;
}

}  // namespace

XmlAttributes::XmlAttributes() : count_(0) {}

XmlAttributes::XmlAttributes(const XmlAttributes& other)
    : entries_(other.entries_.begin(), other.entries_.begin() + other.count_),
      count_(other.count_) {}

XmlAttributes& XmlAttributes::operator=(const XmlAttributes& other) {
  if (this != &other) {
    entries_.assign(other.entries_.begin(), other.entries_.begin() + other.count_);
    count_ = other.count_;
  }
  return *this;
}

XmlAttributes::~XmlAttributes() = default;

unsigned int XmlAttributes::getLength() const { return count_; }

const char* XmlAttributes::getName(unsigned int index) const {
  return index < count_ ? entries_[index].name.c_str() : nullptr;
}

const char* XmlAttributes::getType(unsigned int index) const {
  return index < count_ ? entries_[index].type.c_str() : nullptr;
}

const char* XmlAttributes::getValue(unsigned int index) const {
  return index < count_ ? entries_[index].value.c_str() : nullptr;
}

const char* XmlAttributes::getType(const char* const name) const {
  if (name == nullptr) return nullptr;
  for (unsigned int i = 0; i < count_; ++i) {
    if (sameName(entries_[i].name, name)) return entries_[i].type.c_str();
  }
  return nullptr;
}

const char* XmlAttributes::getValue(const char* const name) const {
  if (name == nullptr) return nullptr;
  for (unsigned int i = 0; i < count_; ++i) {
    if (sameName(entries_[i].name, name)) return entries_[i].value.c_str();
  }
  return nullptr;
}

void XmlAttributes::clear() { count_ = 0; }

void XmlAttributes::push(const char* name, const char* type, const char* value) {
  if (count_ == entries_.size()) entries_.emplace_back();
  Entry& e = entries_[count_];
  e.name.set(orEmpty(name), true);
  e.type.set(orEmpty(type), true);
  e.value.set(orEmpty(value), true);
  ++count_;
}

namespace {
constexpr const char* kPush = "XmlAttributes::push";
}

using corvane_xml_detail::NumberText;

void XmlAttributes::push(const char* name, const char* type, int value, unsigned int radix) {
  push(name, type, NumberText::ofSigned(value, radix, kPush).text);
}

void XmlAttributes::push(const char* name, const char* type, unsigned int value,
                         unsigned int radix) {
  push(name, type, NumberText::ofUnsigned(value, radix, kPush).text);
}

void XmlAttributes::push(const char* name, const char* type, long value, unsigned int radix) {
  push(name, type, NumberText::ofSigned(value, radix, kPush).text);
}

void XmlAttributes::push(const char* name, const char* type, unsigned long value,
                         unsigned int radix) {
  push(name, type, NumberText::ofUnsigned(value, radix, kPush).text);
}

void XmlAttributes::push(const char* name, const char* type, float value) {
  push(name, type, NumberText::ofFloat(static_cast<double>(value), kPush).text);
}

void XmlAttributes::push(const char* name, const char* type, double value) {
  push(name, type, NumberText::ofFloat(value, kPush).text);
}
