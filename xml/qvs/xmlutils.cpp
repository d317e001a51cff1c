// xml/qvs/xmlutils.cpp: writing element trees in their XML form.
//
// The writer walks the tree with its own stack, so that a tree's depth never becomes
// the call stack's. Each open list is a frame; a list's end tag is written when its
// frame is done. The pieces are the emitter's (XmlEmitter writes the same bytes for the
// same calls); attributes go straight from the element's pairs, which writes what an
// XmlAttributes list filled with them would, without copying every name and value.
// When the stream is exactly the library's memory or file stream, pieces are appended
// without a virtual call each; any other stream gets one WriteBytes call per piece.
#include "xml/qvs/xmlutils.h"

#include <string>
#include <typeinfo>
#include <vector>

#include "xml/qvs/detail/valuetree.h"
#include "xml/writer/detail/pieces.h"

namespace QVS {

namespace {

using corvane_xml_detail::Sink;

const AttributeVector kNoAttributes;

// The element whose value is being written: its key gives the tag, its attributes go
// on the tag.
struct Holder {
  const ACE_CString* key;
  const AttributeVector* attributes;
};

struct Frame {
  const ValueBase* list;
  std::size_t next;
  std::size_t size;
  bool items;  // a value list, whose entries are written as items
  Holder holder;
  bool closeWithVal;      // the end tag is "val" rather than the holder's tag
  std::size_t tagLength;  // of the start tag, as openTag found it
};

// A tag name: its text and length.
struct Tag {
  const char* text;
  std::size_t length;
};

constexpr Tag kVal{"val", 3};

template <class Stream>
class TreeWriter {
 public:
  TreeWriter(Stream& out, XmlUtils::Ordering order, const ACE_CString& prefix)
      : sink_{out}, byKey_(order == XmlUtils::ByKey), prefix_(prefix) {}

  void write(const ValueBase& v, const Holder& h) {
    write(v, h, false);
    drain();
  }

 private:
  // The holder's tag: its key, after the prefix when there is one. Tags are C strings
  // to the writer, as to XmlEmitter: a key with a zero byte ends there, which openTag
  // finds while it escapes the tag.
  Tag tagOf(const Holder& h) {
    if (prefix_.length() == 0) return Tag{h.key->c_str(), h.key->length()};
    tag_.assign(prefix_.c_str());
    tag_.append(h.key->c_str());
    return Tag{tag_.c_str(), tag_.size()};
  }

  void escaped(const ACE_CString& text) {
    corvane_xml_detail::escaped(sink_, text.c_str(), text.length());
  }

  // "<" tag, escaped, and the attributes, then ">". Returns the tag as its end tag
  // writes it: up to a zero byte in it.
  Tag openTag(Tag tag, const AttributeVector& attributes) {
    literal(sink_, "<");
    tag.length = corvane_xml_detail::escaped(sink_, tag.text, tag.length);
    for (const Attribute& a : attributes) {
      literal(sink_, " ");
      escaped(a.first);
      literal(sink_, "=\"");
      escaped(a.second);
      literal(sink_, "\"");
    }
    literal(sink_, ">");
    return tag;
  }

  // "</" tag ">", the tag unescaped, and the line break.
  void closeTag(const Tag& tag) {
    literal(sink_, "</");
    sink_.put(tag.text, tag.length);
    literal(sink_, ">");
    literal(sink_, "\r\n");
  }

  // Writes a single text at once; opens a list and stacks its frame.
  void write(const ValueBase& v, const Holder& h, bool inValueList) {
    switch (v.type()) {
      case ValueBase::Single: {
        const Tag tag = openTag(inValueList ? kVal : tagOf(h),
                                inValueList ? kNoAttributes : *h.attributes);
        escaped(static_cast<const SingleValue&>(v).value());
        closeTag(tag);
        break;
      }
      case ValueBase::Multi:
        // Items of the list are written as "val" items; a list that is itself an item
        // is wrapped in a "val" element of its own.
        push(v, h, inValueList,
             openTag(inValueList ? kVal : tagOf(h), inValueList ? kNoAttributes : *h.attributes));
        break;
      case ValueBase::MultiElement: {
        const MultiElementValue& list = static_cast<const MultiElementValue&>(v);
        if (byKey_) {
          ValueTree::sortByKey(list);
        } else {
          ValueTree::sortByWeight(list);
        }
        // Inside a value list the wrapper is "val", still with the holder's attributes.
        push(v, h, inValueList, openTag(inValueList ? kVal : tagOf(h), *h.attributes));
        break;
      }
      default:
        break;
    }
  }

  void push(const ValueBase& list, const Holder& h, bool inValueList, const Tag& tag) {
    stack_.push_back(Frame{&list, 0, static_cast<std::size_t>(list.size()),
                           list.type() == ValueBase::Multi, h, inValueList, tag.length});
  }

  void drain() {
    while (!stack_.empty()) {
      Frame& f = stack_.back();
      if (f.next == f.size) {
        Tag tag = f.closeWithVal ? kVal : tagOf(f.holder);
        tag.length = f.tagLength;
        stack_.pop_back();
        closeTag(tag);
        continue;
      }
      const std::size_t i = f.next++;
      if (f.items) {
        // The items' holder is still the element that holds the list.
        write(*ValueTree::items(static_cast<const MultiValue&>(*f.list))[i], f.holder, true);
      } else {
        const Element* child = ValueTree::elements(static_cast<const MultiElementValue&>(*f.list))[i];
        if (child->hasValue()) {
          write(child->value(), Holder{&child->key(), &child->attributes()}, false);
        }
      }
    }
  }

  Sink<Stream> sink_;
  const bool byKey_;
  const ACE_CString& prefix_;
  std::string tag_;
  std::vector<Frame> stack_;
};

void writeValue(const ValueBase& v, const Holder& h, OutputStream& out,
                XmlUtils::Ordering order, const ACE_CString& prefix) {
  const std::type_info& type = typeid(out);
  if (type == typeid(OutputMemStream)) {
    TreeWriter<OutputMemStream>(static_cast<OutputMemStream&>(out), order, prefix).write(v, h);
  } else if (type == typeid(OutputFileStream)) {
    TreeWriter<OutputFileStream>(static_cast<OutputFileStream&>(out), order, prefix).write(v, h);
  } else {
    TreeWriter<OutputStream>(out, order, prefix).write(v, h);
  }
}

}  // namespace

void XmlUtils::streamOut(const Element& element, OutputStream& out, const Ordering& order,
                         const ACE_CString& prefix) {
  if (element.hasValue()) {
    writeValue(element.value(), Holder{&element.key(), &element.attributes()}, out, order, prefix);
  }
}

void XmlUtils::streamOut(const ValueBase& value, OutputStream& out, const Ordering& order,
                         const ACE_CString& prefix) {
  static const ACE_CString kValueTag("value");
  writeValue(value, Holder{&kValueTag, &kNoAttributes}, out, order, prefix);
}

}  // namespace QVS
