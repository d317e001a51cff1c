// xml/qvs/xmlutils.cpp: writing element trees in their XML form.
//
// The writer walks the tree with its own stack, so that a tree's depth never becomes
// the call stack's. Each open list is a frame; a list's end tag is written when its
// frame is done. Attributes go straight from the element's pairs to the emitter's
// pieces, which writes the same bytes as an XmlAttributes list filled with them
// without copying every name and value first.
#include "xml/qvs/xmlutils.h"

#include <string>
#include <vector>

#include "xml/qvs/detail/valuetree.h"
#include "xml/writer/detail/pieces.h"
#include "xml/writer/xmlemitter.h"

namespace QVS {

namespace {

using corvane_xml_detail::escaped;
using corvane_xml_detail::literal;

const AttributeVector kNoAttributes;

// The element whose value is being written: its key gives the tag, its attributes go
// on the tag. Null for the value overload, whose tag is "value".
struct Holder {
  const ACE_CString* key;
  const AttributeVector* attributes;
};

struct Frame {
  const ValueBase* list;
  std::size_t next;
  Holder holder;
  bool closeWithVal;  // the end tag is "val" rather than the holder's tag
};

class TreeWriter {
 public:
  TreeWriter(OutputStream& out, XmlUtils::Ordering order, const ACE_CString& prefix)
      : emitter_(out), out_(out), byKey_(order == XmlUtils::ByKey), prefix_(prefix) {}

  void writeElement(const Element& e) {
    if (e.hasValue()) {
      write(e.value(), Holder{&e.key(), &e.attributes()}, false);
      drain();
    }
  }

  void writeValue(const ValueBase& v) {
    static const ACE_CString kValueTag("value");
    write(v, Holder{&kValueTag, &kNoAttributes}, false);
    drain();
  }

 private:
  // The holder's tag: its key, after the prefix when there is one.
  const char* tagOf(const Holder& h) {
    if (prefix_.length() == 0) return h.key->c_str();
    tag_.assign(prefix_.fast_rep(), prefix_.length());
    tag_.append(h.key->c_str());
    return tag_.c_str();
  }

  // "<" tag and the attributes; the caller closes the tag.
  void openTag(const char* tag, const AttributeVector& attributes) {
    literal(out_, "<");
    escaped(out_, tag);
    for (const Attribute& a : attributes) {
      corvane_xml_detail::attribute(out_, a.first.c_str(), a.second.c_str());
    }
  }

  void closeTag(const char* tag) {
    emitter_.endElement(tag, false);
    emitter_.newline();
  }

  // Writes a single text at once; opens a list and stacks its frame.
  void write(const ValueBase& v, const Holder& h, bool inValueList) {
    switch (v.type()) {
      case ValueBase::Single: {
        const char* tag = inValueList ? "val" : tagOf(h);
        openTag(tag, inValueList ? kNoAttributes : *h.attributes);
        literal(out_, ">");
        escaped(out_, static_cast<const SingleValue&>(v).value().c_str());
        closeTag(tag);
        break;
      }
      case ValueBase::Multi:
        // Items of the list are written as "val" items; a list that is itself an item
        // is wrapped in a "val" element of its own.
        openTag(inValueList ? "val" : tagOf(h), inValueList ? kNoAttributes : *h.attributes);
        literal(out_, ">");
        stack_.push_back(Frame{&v, 0, h, inValueList});
        break;
      case ValueBase::MultiElement: {
        const MultiElementValue& list = static_cast<const MultiElementValue&>(v);
        if (byKey_) {
          ValueTree::sortByKey(list);
        } else {
          ValueTree::sortByWeight(list);
        }
        // Inside a value list the wrapper is "val", still with the holder's attributes.
        openTag(inValueList ? "val" : tagOf(h), *h.attributes);
        literal(out_, ">");
        stack_.push_back(Frame{&v, 0, h, inValueList});
        break;
      }
      default:
        break;
    }
  }

  void drain() {
    while (!stack_.empty()) {
      Frame& f = stack_.back();
      const bool items = f.list->type() == ValueBase::Multi;
      const std::size_t size = static_cast<std::size_t>(f.list->size());
      if (f.next == size) {
        const Holder h = f.holder;
        const bool val = f.closeWithVal;
        stack_.pop_back();
        closeTag(val ? "val" : tagOf(h));
        continue;
      }
      const std::size_t i = f.next++;
      const Holder holder = f.holder;  // f may move when write() stacks a frame
      if (items) {
        write(*ValueTree::items(static_cast<const MultiValue&>(*f.list))[i], holder, true);
      } else {
        const Element* child = ValueTree::elements(static_cast<const MultiElementValue&>(*f.list))[i];
        if (child->hasValue()) {
          write(child->value(), Holder{&child->key(), &child->attributes()}, false);
        }
      }
    }
  }

  XmlEmitter emitter_;
  OutputStream& out_;
  const bool byKey_;
  const ACE_CString& prefix_;
  std::string tag_;
  std::vector<Frame> stack_;
};

}  // namespace

void XmlUtils::streamOut(const Element& element, OutputStream& out, const Ordering& order,
                         const ACE_CString& prefix) {
  TreeWriter(out, order, prefix).writeElement(element);
}

void XmlUtils::streamOut(const ValueBase& value, OutputStream& out, const Ordering& order,
                         const ACE_CString& prefix) {
  TreeWriter(out, order, prefix).writeValue(value);
}

}  // namespace QVS
