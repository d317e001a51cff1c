// fuzz/streamin_fuzz.cpp: QVS::XmlUtils::streamIn over arbitrary bytes.
//
// Any input must end in a tree or in one of the library's XmlException classes: no
// crash, no leak, no other exception. A tree that was read, whose keys and attribute
// names are ASCII XML names (a name the code page lacks reads as "?"), must be written
// by streamOut as a document that streamIn reads again.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "xml/qvs/xmlutils.h"
#include "xml/xmlexception.h"

namespace {

// streamIn lets the parser open the external entities a document names (files, URLs),
// which a fuzzer must not do: a name like /dev/stdin would block the run. Documents
// with a SYSTEM or PUBLIC keyword are skipped, also in UTF-16 and UCS-4 (zero bytes
// between the letters are ignored for the search).
bool namesExternalEntity(const std::uint8_t* data, std::size_t size) {
  std::string letters;
  letters.reserve(size);
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] != 0) letters += static_cast<char>(data[i]);
  }
  return letters.find("SYSTEM") != std::string::npos || letters.find("PUBLIC") != std::string::npos;
}

bool asciiNames(const QVS::Element& root) {
  std::vector<const QVS::Element*> todo{&root};
  auto ascii = [](const ACE_CString& s) {
    auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == ':'; };
    if (s.length() == 0 || !letter(s[0])) return false;
    for (std::size_t i = 1; i < s.length(); ++i) {
      if (!letter(s[i]) && !(s[i] >= '0' && s[i] <= '9') && s[i] != '-' && s[i] != '.') return false;
    }
    return true;
  };
  std::vector<const QVS::ValueBase*> values;
  while (!todo.empty()) {
    const QVS::Element* e = todo.back();
    todo.pop_back();
    if (!ascii(e->key())) return false;
    for (const QVS::Attribute& a : e->attributes()) {
      if (!ascii(a.first)) return false;
    }
    if (!e->hasValue()) continue;
    values.push_back(&e->value());
    while (!values.empty()) {
      const QVS::ValueBase* v = values.back();
      values.pop_back();
      if (v->type() == QVS::ValueBase::Multi) {
        for (const QVS::ValueBase* item : static_cast<const QVS::MultiValue&>(*v)) values.push_back(item);
      } else if (v->type() == QVS::ValueBase::MultiElement) {
        const auto& list = static_cast<const QVS::MultiElementValue&>(*v);
        todo.insert(todo.end(), list.beginNoSort(), list.endNoSort());
      }
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::quietLog();
  if (size > 1 << 20 || namesExternalEntity(data, size)) return 0;
  InputMemStream in(data, static_cast<unsigned int>(size));
  QVS::Element root;
  try {
    QVS::XmlUtils::streamIn(in, root, "fuzz.xml");
  } catch (const XmlException::XmlExceptionBase&) {
    return 0;
  }
  OutputMemStream out;
  QVS::XmlUtils::streamOut(root, out, QVS::XmlUtils::ByKey, "");
  if (!root.hasValue() || !asciiNames(root)) return 0;
  InputMemStream again(out.data(), static_cast<unsigned int>(out.size()));
  QVS::Element back;
  try {
    QVS::XmlUtils::streamIn(again, back, "again.xml");
  } catch (const XmlException::XmlExceptionBase& e) {
    std::fprintf(stderr, "the writer's output does not read back: %s\n", e.what());
    FUZZ_CHECK(false);
  }
  FUZZ_CHECK(back.key() == root.key());
  return 0;
}
