// bench/reader_bench.cpp: reading the corpus's tree document (scale 10, and 100 when it
// was generated) with QVS::XmlUtils::streamIn and XmlBaseBuilder::build, next to a bare
// Xerces SAXParser with an empty HandlerBase over the same bytes (the floor of any reader
// on that parser), and libxml2 and pugixml for reference.
//
//   cmake --build build-bench --target reader_bench && build-bench/bench/reader_bench
#include <malloc.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <pugixml.hpp>

#include "bench/corpus.h"
#include "bench/peers.h"
#include "xml/corvane_xml.h"

namespace {

const std::string& document(int scale) {
  static std::string ten = bench::readCorpus("tree-10.xml");
  static std::string hundred = [] {
    try {
      return bench::readCorpus("tree-100.xml");
    } catch (const std::exception&) {
      return std::string();
    }
  }();
  return scale == 10 ? ten : hundred;
}

// Skips the scale-100 runs when that document was not generated.
bool have(benchmark::State& state, const std::string& bytes) {
  if (bytes.empty()) state.SkipWithError("tree-100.xml missing (build the corpus100 target)");
  return !bytes.empty();
}

void BM_BareXercesSax_Peer(benchmark::State& state) {
  const std::string& bytes = document(static_cast<int>(state.range(0)));
  if (!have(state, bytes)) return;
  for (auto _ : state) bench::bareXercesParse(bytes);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_BareXercesSax_Peer)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

void BM_BuildEmptyCallbacks(benchmark::State& state) {
  const std::string& bytes = document(static_cast<int>(state.range(0)));
  if (!have(state, bytes)) return;
  for (auto _ : state) {
    InputMemStream in(bytes.data(), static_cast<unsigned int>(bytes.size()));
    XmlInputSource source(in, "bench");
    XmlBaseBuilder builder(source, nullptr);
    builder.build();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_BuildEmptyCallbacks)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

// The time of reading; destroying the tree afterwards (the caller's business) is not
// counted.
void BM_StreamIn(benchmark::State& state) {
  const std::string& bytes = document(static_cast<int>(state.range(0)));
  if (!have(state, bytes)) return;
  for (auto _ : state) {
    InputMemStream in(bytes.data(), static_cast<unsigned int>(bytes.size()));
    QVS::Element* root = new QVS::Element;
    QVS::XmlUtils::streamIn(in, *root, "bench");
    state.PauseTiming();
    delete root;
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_StreamIn)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

// Peak resident memory of one read, per byte of document: the heap is handed back to the
// system first, so that the read's growth shows.
void BM_StreamIn_PeakMemory(benchmark::State& state) {
  const std::string& bytes = document(static_cast<int>(state.range(0)));
  if (!have(state, bytes)) return;
  double peakPerByte = 0;
  for (auto _ : state) {
    malloc_trim(0);
    const long before = bench::statusKb("VmRSS:");
    {
      std::ofstream clear("/proc/self/clear_refs");
      clear << "5";
    }
    InputMemStream in(bytes.data(), static_cast<unsigned int>(bytes.size()));
    QVS::Element root;
    QVS::XmlUtils::streamIn(in, root, "bench");
    peakPerByte = (bench::statusKb("VmHWM:") - before) * 1024.0 / static_cast<double>(bytes.size());
  }
  state.counters["peak_bytes_per_doc_byte"] = peakPerByte;
}
BENCHMARK(BM_StreamIn_PeakMemory)->Arg(10)->Arg(100)->Iterations(1)->Unit(benchmark::kMillisecond);


void BM_Libxml2ReadMemory_Peer(benchmark::State& state) {
  const std::string& bytes = document(static_cast<int>(state.range(0)));
  if (!have(state, bytes)) return;
  for (auto _ : state) {
    xmlDocPtr doc = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, 0);
    xmlFreeDoc(doc);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_Libxml2ReadMemory_Peer)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

void BM_PugixmlLoadBuffer_Peer(benchmark::State& state) {
  const std::string& bytes = document(static_cast<int>(state.range(0)));
  if (!have(state, bytes)) return;
  for (auto _ : state) {
    pugi::xml_document doc;
    doc.load_buffer(bytes.data(), bytes.size());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_PugixmlLoadBuffer_Peer)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
