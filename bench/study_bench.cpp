// bench/study_bench.cpp: reading the corpus's study document (scale 10) with
// XmlBuilder::build and callbacks that do nothing, next to a bare Xerces SAXParser with an
// empty HandlerBase over the same bytes. The type callback answers each Xml::Type in
// turn, so every overload and every conversion is exercised.
//
//   cmake --build build-bench --target study_bench && build-bench/bench/study_bench
#include <string>

#include <benchmark/benchmark.h>

#include "bench/corpus.h"
#include "bench/peers.h"
#include "xml/corvane_xml.h"

namespace {

const std::string& document() {
  static const std::string bytes = bench::readCorpus("study-10.xml");
  return bytes;
}

void BM_BareXercesSax_Peer(benchmark::State& state) {
  const std::string& bytes = document();
  for (auto _ : state) bench::bareXercesParse(bytes);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_BareXercesSax_Peer)->Unit(benchmark::kMillisecond);

// StringType, WideStringType, LongType, ULongType, FloatType, StringType, ...
int turn = 0;
Xml::Type eachTypeInTurn(unsigned long) {
  turn = turn % 5 + 1;
  return static_cast<Xml::Type>(turn);
}

void BM_XmlBuilderBuild(benchmark::State& state) {
  const std::string& bytes = document();
  for (auto _ : state) {
    InputMemStream stream(bytes.data(), static_cast<unsigned int>(bytes.size()));
    XmlInputSource input(stream, "bench");
    XmlBuilder builder(input, eachTypeInTurn, nullptr);
    builder.build();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_XmlBuilderBuild)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
