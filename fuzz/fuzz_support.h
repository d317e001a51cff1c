// fuzz/fuzz_support.h: what the fuzz targets share: the failing check, a quiet log, and
// a canonical text of an element tree to compare trees by.
#ifndef CORVANE_XML_FUZZ_FUZZ_SUPPORT_H
#define CORVANE_XML_FUZZ_FUZZ_SUPPORT_H

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <ace/Log_Msg.h>

#include "xml/qvs/element.h"

// FUZZ_CHECK(condition): aborts with the condition's text when it does not hold, which
// libFuzzer (and the replay program) report as a failure with the input that caused it.
#define FUZZ_CHECK(condition)                                                              \
  do {                                                                                     \
    if (!(condition)) {                                                                    \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                        \
    }                                                                                      \
  } while (0)

namespace fuzz {

// Keeps the library's log lines (one per rejected document) off standard error: they
// are still formatted, only not printed. ACE's logger is per thread; the fuzzers run on
// one.
inline void quietLog() {
  static const bool done = [] {
    ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
    return true;
  }();
  (void)done;
}

inline void appendQuoted(std::string& out, const ACE_CString& text) {
  out += '"';
  out.append(text.c_str(), text.length());
  out += '"';
}

// The tree below element as text, in the lists' present order (beginNoSort), weights
// left out: key(attributes) then 'text', [items] or {children}. The walk keeps its own
// stack, so any depth is fine.
inline std::string describe(const QVS::Element& root) {
  std::string out;
  // Each entry is an element or a value still to describe, or a closing bracket.
  struct Step {
    const QVS::Element* element;
    const QVS::ValueBase* value;
    char close;
  };
  std::vector<Step> todo{{&root, nullptr, 0}};
  while (!todo.empty()) {
    const Step step = todo.back();
    todo.pop_back();
    if (step.close != 0) {
      out += step.close;
      continue;
    }
    if (step.element != nullptr) {
      const QVS::Element& e = *step.element;
      out += ' ';
      appendQuoted(out, e.key());
      for (const QVS::Attribute& a : e.attributes()) {
        out += ' ';
        appendQuoted(out, a.first);
        out += '=';
        appendQuoted(out, a.second);
      }
      if (e.hasValue()) todo.push_back({nullptr, &e.value(), 0});
      continue;
    }
    const QVS::ValueBase& v = *step.value;
    if (v.type() == QVS::ValueBase::Single) {
      out += '\'';
      const ACE_CString& text = static_cast<const QVS::SingleValue&>(v).value();
      out.append(text.c_str(), text.length());
      out += '\'';
    } else if (v.type() == QVS::ValueBase::Multi) {
      out += '[';
      todo.push_back({nullptr, nullptr, ']'});
      const auto& items = static_cast<const QVS::MultiValue&>(v);
      std::vector<const QVS::ValueBase*> order(items.begin(), items.end());
      for (auto it = order.rbegin(); it != order.rend(); ++it) todo.push_back({nullptr, *it, 0});
    } else {
      out += '{';
      todo.push_back({nullptr, nullptr, '}'});
      const auto& list = static_cast<const QVS::MultiElementValue&>(v);
      std::vector<const QVS::Element*> order(list.beginNoSort(), list.endNoSort());
      for (auto it = order.rbegin(); it != order.rend(); ++it) todo.push_back({*it, nullptr, 0});
    }
  }
  return out;
}

}  // namespace fuzz

#endif  // CORVANE_XML_FUZZ_FUZZ_SUPPORT_H
