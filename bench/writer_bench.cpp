// bench/writer_bench.cpp: writing the tree document of the corpus (scale 10) with
// QVS::XmlUtils::streamOut, next to pugixml's and libxml2's save of the same tree and a
// memcpy of the same number of bytes; and XML escaping of the corpus's clean and dirty
// texts, next to memchr and a plain byte-at-a-time escaping loop.
//
//   cmake --build build-bench --target writer_bench && build-bench/bench/writer_bench
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <pugixml.hpp>

#include "bench/corpus.h"
#include "xml/corvane_xml.h"

namespace {

// --- the tree document as an element tree, through pugixml's parse ----------------

// Builds e from x by the element tree's reading rules: "val" children make a value
// list (an item with element children is an element list, else a text); other
// element children make an element list; otherwise a non-empty text is the value.
void toElement(const pugi::xml_node& x, QVS::Element& e) {
  e.key(x.name());
  for (const pugi::xml_attribute& a : x.attributes()) e.insertAttribute(a.name(), a.value());
  if (x.child("val")) {
    QVS::MultiValue& items = e.addMulti();
    for (const pugi::xml_node& val : x.children("val")) {
      if (val.first_child().type() == pugi::node_element) {
        QVS::MultiElementValue& list = items.addMultiElement();
        for (const pugi::xml_node& c : val.children()) {
          if (c.type() == pugi::node_element) toElement(c, list.addElement(c.name(), {}, -1));
        }
      } else if (*val.text().get() != '\0') {
        items.addSingle().set(val.text().get());
      }
    }
  } else if (x.first_child().type() == pugi::node_element) {
    QVS::MultiElementValue& list = e.addMultiElement();
    for (const pugi::xml_node& c : x.children()) {
      if (c.type() == pugi::node_element) toElement(c, list.addElement(c.name(), {}, -1));
    }
  } else if (*x.text().get() != '\0') {
    e.addSingle().set(x.text().get());
  }
}

struct TreeDocument {
  std::string bytes;
  pugi::xml_document pugi;
  xmlDocPtr libxml = nullptr;
  QVS::Element tree;
  std::size_t written = 0;  // bytes streamOut writes for it

  TreeDocument() {
    bytes = bench::readCorpus("tree-10.xml");
    pugi.load_buffer(bytes.data(), bytes.size());
    libxml = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                           XML_PARSE_NOBLANKS);
    toElement(pugi.document_element(), tree);
    OutputMemStream out;
    QVS::XmlUtils::streamOut(tree, out, QVS::XmlUtils::ByKey, "");
    written = out.size();
  }
  ~TreeDocument() { xmlFreeDoc(libxml); }
};

TreeDocument& treeDocument() {
  static TreeDocument doc;
  return doc;
}

void BM_StreamOut_Memory(benchmark::State& state) {
  TreeDocument& doc = treeDocument();
  OutputMemStream out;
  out.reserve(doc.written);
  for (auto _ : state) {
    out.clear();
    QVS::XmlUtils::streamOut(doc.tree, out, QVS::XmlUtils::ByKey, "");
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.written));
}
BENCHMARK(BM_StreamOut_Memory)->Unit(benchmark::kMillisecond);

void BM_StreamOut_BufferedFile(benchmark::State& state) {
  TreeDocument& doc = treeDocument();
  char path[] = "/tmp/writer_bench_XXXXXX";
  const int fd = mkstemp(path);
  for (auto _ : state) {
    OutputFileStream out(path);
    QVS::XmlUtils::streamOut(doc.tree, out, QVS::XmlUtils::ByKey, "");
  }
  close(fd);
  unlink(path);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.written));
}
BENCHMARK(BM_StreamOut_BufferedFile)->Unit(benchmark::kMillisecond);

struct StringWriter : pugi::xml_writer {
  std::string out;
  void write(const void* data, size_t size) override { out.append(static_cast<const char*>(data), size); }
};

void BM_PugixmlSave_Peer(benchmark::State& state) {
  TreeDocument& doc = treeDocument();
  StringWriter writer;
  std::size_t bytes = 0;
  for (auto _ : state) {
    writer.out.clear();
    doc.pugi.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    bytes = writer.out.size();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_PugixmlSave_Peer)->Unit(benchmark::kMillisecond);

void BM_Libxml2DocDumpMemory_Peer(benchmark::State& state) {
  TreeDocument& doc = treeDocument();
  std::size_t bytes = 0;
  for (auto _ : state) {
    xmlChar* text = nullptr;
    int size = 0;
    xmlDocDumpMemory(doc.libxml, &text, &size);
    bytes = static_cast<std::size_t>(size);
    xmlFree(text);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_Libxml2DocDumpMemory_Peer)->Unit(benchmark::kMillisecond);

void BM_Memcpy_Peer(benchmark::State& state) {
  TreeDocument& doc = treeDocument();
  std::vector<char> target(doc.written);
  for (auto _ : state) {
    std::memcpy(target.data(), doc.bytes.data(), std::min(doc.written, doc.bytes.size()));
    benchmark::DoNotOptimize(target.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.written));
}
BENCHMARK(BM_Memcpy_Peer)->Unit(benchmark::kMillisecond);

// --- escaping ------------------------------------------------------------------------

const std::string& text(const char* file) {
  static std::string clean = bench::readCorpus("text-clean-10.txt");
  static std::string dirty = bench::readCorpus("text-dirty-10.txt");
  return std::strcmp(file, "clean") == 0 ? clean : dirty;
}

void BM_Escape_Clean(benchmark::State& state) {
  const std::string& t = text("clean");
  for (auto _ : state) {
    ACE_CString out;
    benchmark::DoNotOptimize(ConvertStringToXmlString(t.c_str(), out));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.size()));
}
BENCHMARK(BM_Escape_Clean)->Unit(benchmark::kMillisecond);

void BM_Memchr_Clean_Peer(benchmark::State& state) {
  const std::string& t = text("clean");
  for (auto _ : state) benchmark::DoNotOptimize(std::memchr(t.data(), '\0', t.size()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.size()));
}
BENCHMARK(BM_Memchr_Clean_Peer)->Unit(benchmark::kMillisecond);

void BM_Escape_Dirty(benchmark::State& state) {
  const std::string& t = text("dirty");
  for (auto _ : state) {
    ACE_CString out;
    benchmark::DoNotOptimize(ConvertStringToXmlString(t.c_str(), out));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.size()));
}
BENCHMARK(BM_Escape_Dirty)->Unit(benchmark::kMillisecond);

// The plain loop: one table lookup and one branch per byte into a worst-case buffer.
std::size_t byteLoopEscape(const std::string& in, char* out) {
  static struct Table {
    const char* e[256];
    Table() {
      for (int b = 0; b < 256; ++b) e[b] = nullptr;
      for (int b = 1; b < 0x20; ++b) e[b] = " ";
      e['\t'] = nullptr;
      e['\n'] = "&#xA;";
      e['\r'] = "&#xD;";
      e['"'] = "&quot;";
      e['&'] = "&amp;";
      e['\''] = "&apos;";
      e['<'] = "&lt;";
      e['>'] = "&gt;";
    }
  } table;
  char* p = out;
  for (unsigned char c : in) {
    if (c >= 0x80) {
      *p++ = static_cast<char>(0xC0 + (c >> 6));
      *p++ = static_cast<char>(0x80 + (c & 0x3F));
    } else if (const char* e = table.e[c]) {
      while (*e) *p++ = *e++;
    } else {
      *p++ = static_cast<char>(c);
    }
  }
  return static_cast<std::size_t>(p - out);
}

void BM_ByteLoopEscape_Dirty_Peer(benchmark::State& state) {
  const std::string& t = text("dirty");
  std::unique_ptr<char[]> buffer(new char[6 * t.size() + 1]);
  for (auto _ : state) benchmark::DoNotOptimize(byteLoopEscape(t, buffer.get()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.size()));
}
BENCHMARK(BM_ByteLoopEscape_Dirty_Peer)->Unit(benchmark::kMillisecond);

void BM_ByteLoopEscape_Clean_Peer(benchmark::State& state) {
  const std::string& t = text("clean");
  std::unique_ptr<char[]> buffer(new char[6 * t.size() + 1]);
  for (auto _ : state) benchmark::DoNotOptimize(byteLoopEscape(t, buffer.get()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.size()));
}
BENCHMARK(BM_ByteLoopEscape_Clean_Peer)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
