// bench/element_bench.cpp: keyed and weighted access to element lists, and building
// large element trees, with pugixml and std::multimap as peers in the same run.
//
//   build-bench/bench/element_bench --benchmark_repetitions=3 --benchmark_report_aggregates_only
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <malloc.h>

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include "bench/corpus.h"
#include "xml/corvane_xml.h"

namespace {

constexpr int kListSize = 100000;

// Deterministic keys in shuffled order, like the tags of a study ("T00280030").
std::vector<std::string> makeKeys(int n) {
  std::vector<std::string> keys;
  keys.reserve(n);
  char buf[32];
  for (int i = 0; i < n; ++i) {
    std::snprintf(buf, sizeof buf, "T%08X", static_cast<unsigned>(i * 2654435761u));
    keys.push_back(buf);
  }
  std::shuffle(keys.begin(), keys.end(), std::mt19937(42));
  return keys;
}

void fillList(QVS::MultiElementValue& list, const std::vector<std::string>& keys) {
  int weight = 0;
  for (const std::string& k : keys) {
    list.addSingle(ACE_CString(k.c_str(), k.size()), QVS::AttributeVector(), weight++ % 97)
        .set("value");
  }
}

// The first keyed access of an unsorted list: one sort, one search.
void BM_KeyedLookup_FirstAccess(benchmark::State& state) {
  const std::vector<std::string> keys = makeKeys(static_cast<int>(state.range(0)));
  QVS::MultiElementValue source;
  fillList(source, keys);
  const ACE_CString probe(keys[keys.size() / 2].c_str());
  for (auto _ : state) {
    state.PauseTiming();
    QVS::MultiElementValue* list = source.clone();  // unsorted, like the source
    state.ResumeTiming();
    benchmark::DoNotOptimize(&list->getElement(probe));
    state.PauseTiming();
    delete list;
    state.ResumeTiming();
  }
}
BENCHMARK(BM_KeyedLookup_FirstAccess)->Arg(1000)->Arg(kListSize)->Unit(benchmark::kMillisecond);

// getElement on a list already in key order: a binary search per lookup.
void BM_KeyedLookup_Sorted(benchmark::State& state) {
  const std::vector<std::string> keys = makeKeys(static_cast<int>(state.range(0)));
  QVS::MultiElementValue list;
  fillList(list, keys);
  std::vector<ACE_CString> probes;
  for (const std::string& k : keys) probes.emplace_back(k.c_str());
  list.getElement(probes[0]);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&list.getElement(probes[i]));
    if (++i == probes.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_KeyedLookup_Sorted)->Arg(1000)->Arg(kListSize);

// Peer: std::multimap<std::string, ...>::find over the same keys.
void BM_KeyedLookup_StdMultimapPeer(benchmark::State& state) {
  const std::vector<std::string> keys = makeKeys(static_cast<int>(state.range(0)));
  std::multimap<std::string, std::string> map;
  for (const std::string& k : keys) map.emplace(k, "value");
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(keys[i]));
    if (++i == keys.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_KeyedLookup_StdMultimapPeer)->Arg(1000)->Arg(kListSize);

// A whole walk in weight order, the list already sorted by weight.
void BM_WeightedWalk_All(benchmark::State& state) {
  QVS::MultiElementValue list;
  fillList(list, makeKeys(static_cast<int>(state.range(0))));
  for (auto _ : state) {
    long sum = 0;
    for (auto it = list.beginW(-1); it != list.endW(-1); ++it) sum += (*it)->weight();
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_WeightedWalk_All)->Arg(1000)->Arg(kListSize);

// The range of one weight: two binary searches and a short walk.
void BM_WeightedWalk_OneWeight(benchmark::State& state) {
  QVS::MultiElementValue list;
  fillList(list, makeKeys(static_cast<int>(state.range(0))));
  int w = 0;
  for (auto _ : state) {
    int n = 0;
    for (auto it = list.beginW(w); it != list.endW(w); ++it) ++n;
    benchmark::DoNotOptimize(n);
    w = (w + 1) % 97;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_WeightedWalk_OneWeight)->Arg(1000)->Arg(kListSize);

// Alternating key and weight access: every switch sorts the whole list again.
void BM_AlternatingKeyWeight(benchmark::State& state) {
  const std::vector<std::string> keys = makeKeys(static_cast<int>(state.range(0)));
  QVS::MultiElementValue list;
  fillList(list, keys);
  const ACE_CString probe(keys[0].c_str());
  for (auto _ : state) {
    benchmark::DoNotOptimize(&list.getElement(probe));
    benchmark::DoNotOptimize(list.beginW(5));
  }
  state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(BM_AlternatingKeyWeight)->Arg(1000)->Arg(10000)->Arg(kListSize)->Unit(benchmark::kMicrosecond);

// --- building a tree of 1,000,000 elements -------------------------------------

constexpr int kTreeElements = 1000000;
constexpr int kLeavesPerNode = 9;  // 100,000 nodes of 9 leaves: 1,000,000 elements
const char* const kLeafKeys[kLeavesPerNode] = {
    "Modality", "Number", "Date", "Time", "Description", "BodyPart", "Protocol", "Count", "Uid"};

// Resets the peak resident size to the current one, so that the peak measured after
// a build belongs to that build.
// Freed heap is first handed back to the system, or a build would reuse it without
// raising the resident size.
void resetPeakRss() {
  malloc_trim(0);
  std::ofstream clear("/proc/self/clear_refs");
  clear << "5";
}

// Bytes of heap in use (small blocks and mmapped ones).
double heapInUse() {
  const struct mallinfo2 mi = mallinfo2();
  return static_cast<double>(mi.uordblks + mi.hblkhd);
}

// Runs build() (which returns the object holding the memory), and sets the counters
// bytes_per_element (growth of the peak resident size) and heap_bytes_per_element.
template <class Build>
void measureBuild(benchmark::State& state, Build build) {
  double rssPerElement = 0;
  double heapPerElement = 0;
  for (auto _ : state) {
    state.PauseTiming();
    resetPeakRss();
    const long before = bench::statusKb("VmRSS:");
    const double heapBefore = heapInUse();
    state.ResumeTiming();
    {
      auto tree = build();
      state.PauseTiming();
      rssPerElement = (bench::statusKb("VmHWM:") - before) * 1024.0 / kTreeElements;
      heapPerElement = (heapInUse() - heapBefore) / kTreeElements;
      state.ResumeTiming();
    }  // destruction is timed too
  }
  state.counters["bytes_per_element"] = rssPerElement;
  state.counters["heap_bytes_per_element"] = heapPerElement;
  state.SetItemsProcessed(state.iterations() * kTreeElements);
}


// 100,000 "Series" elements under one root, each with 9 single-valued children.
void buildTree(QVS::Element& root) {
  QVS::MultiElementValue& top = root.addMultiElement();
  for (int i = 0; i < kTreeElements / (kLeavesPerNode + 1); ++i) {
    QVS::MultiElementValue& series = top.addMultiElement("Series", QVS::AttributeVector(), i);
    for (int j = 0; j < kLeavesPerNode; ++j) series.addSingle(kLeafKeys[j]).set("12345678");
  }
}

void BM_BuildTree_1M(benchmark::State& state) {
  measureBuild(state, [] {
    std::unique_ptr<QVS::Element> root(new QVS::Element("Root"));
    buildTree(*root);
    return root;
  });
}
BENCHMARK(BM_BuildTree_1M)->Unit(benchmark::kMillisecond)->Iterations(3);

// Peer: the same shape as a pugixml DOM (element nodes with a text child each).
void BM_BuildTree_1M_PugixmlPeer(benchmark::State& state) {
  measureBuild(state, [] {
    std::unique_ptr<pugi::xml_document> doc(new pugi::xml_document);
    pugi::xml_node root = doc->append_child("Root");
    for (int i = 0; i < kTreeElements / (kLeavesPerNode + 1); ++i) {
      pugi::xml_node series = root.append_child("Series");
      series.append_attribute("w") = i;
      for (int j = 0; j < kLeavesPerNode; ++j) {
        series.append_child(kLeafKeys[j]).text().set("12345678");
      }
    }
    return doc;
  });
}
BENCHMARK(BM_BuildTree_1M_PugixmlPeer)->Unit(benchmark::kMillisecond)->Iterations(3);

// Deep copy and equality of the 1,000,000-element tree.
void BM_CloneTree_1M(benchmark::State& state) {
  QVS::Element root("Root");
  buildTree(root);
  for (auto _ : state) {
    QVS::Element copy(root);
    benchmark::DoNotOptimize(&copy);
  }
  state.SetItemsProcessed(state.iterations() * kTreeElements);
}
BENCHMARK(BM_CloneTree_1M)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
