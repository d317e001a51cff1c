// bench/dom_bench.cpp: the document layer (XmlDocument, XmlNode) next to bare libxml2, its
// engine, on the same bytes: loading the corpus's tree document (scale 10), selecting
// every "Study" element of it, and validating a generated document against a small
// schema.
//
//   cmake --build build-bench --target dom_bench && build-bench/bench/dom_bench
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>
#include <libxml/xpath.h>

#include "bench/corpus.h"
#include "xml/corvane_xml.h"

namespace {

const std::string& tree() {
  static const std::string bytes = bench::readCorpus("tree-10.xml");
  return bytes;
}

// Whole document life per iteration for both: parse, then free.
void BM_Libxml2ReadMemory_Peer(benchmark::State& state) {
  const std::string& bytes = tree();
  for (auto _ : state) {
    xmlDocPtr doc = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, 0);
    benchmark::DoNotOptimize(doc);
    xmlFreeDoc(doc);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
// Loading benchmarks warm up first: the first documents of a process pay for growing the
// heap, which would favour whichever runs later.
BENCHMARK(BM_Libxml2ReadMemory_Peer)->MinWarmUpTime(1)->Unit(benchmark::kMillisecond);

// The text is UTF-8 (code page 65001): checked, then parsed in place.
void BM_LoadXml_Utf8(benchmark::State& state) {
  const std::string& bytes = tree();
  for (auto _ : state) {
    XmlDocument doc;
    if (!doc.LoadXml(bytes.c_str(), 65001)) state.SkipWithError("LoadXml failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_LoadXml_Utf8)->MinWarmUpTime(1)->Unit(benchmark::kMillisecond);

// The same bytes read as Windows-1252 (the one-argument form): converted to UTF-8 first
// wherever a byte is not ASCII.
void BM_LoadXml_Ansi(benchmark::State& state) {
  const std::string& bytes = tree();
  for (auto _ : state) {
    XmlDocument doc;
    if (!doc.LoadXml(bytes.c_str())) state.SkipWithError("LoadXml failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_LoadXml_Ansi)->MinWarmUpTime(1)->Unit(benchmark::kMillisecond);

void BM_Libxml2XPathStudy_Peer(benchmark::State& state) {
  const std::string& bytes = tree();
  xmlDocPtr doc = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, 0);
  std::size_t found = 0;
  for (auto _ : state) {
    xmlXPathContextPtr context = xmlXPathNewContext(doc);
    xmlXPathObjectPtr result = xmlXPathEvalExpression(BAD_CAST "//Study", context);
    found = static_cast<std::size_t>(result->nodesetval->nodeNr);
    xmlXPathFreeObject(result);
    xmlXPathFreeContext(context);
  }
  state.counters["nodes"] = static_cast<double>(found);
  xmlFreeDoc(doc);
}
BENCHMARK(BM_Libxml2XPathStudy_Peer)->Unit(benchmark::kMillisecond);

// A handle per node selected, dropped with the list.
void BM_SelectNodes_Study(benchmark::State& state) {
  XmlDocument doc;
  doc.LoadXml(tree().c_str(), 65001);
  XmlNode root = doc.GetDocElementNode();
  std::size_t found = 0;
  for (auto _ : state) {
    std::vector<XmlNode> list;
    root.SelectNodes("//Study", list);
    found = list.size();
  }
  state.counters["nodes"] = static_cast<double>(found);
}
BENCHMARK(BM_SelectNodes_Study)->Unit(benchmark::kMillisecond);

const char kSchema[] =
    "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>"
    "<xs:element name='studies'><xs:complexType><xs:sequence>"
    "<xs:element name='study' maxOccurs='unbounded'><xs:complexType><xs:sequence>"
    "<xs:element name='date' type='xs:date'/><xs:element name='count' type='xs:int'/>"
    "<xs:element name='description' type='xs:string'/>"
    "</xs:sequence><xs:attribute name='uid' type='xs:string' use='required'/>"
    "</xs:complexType></xs:element></xs:sequence></xs:complexType></xs:element></xs:schema>";

// A valid instance of the schema with n studies.
std::string instance(int n) {
  std::string text = "<studies>";
  for (int i = 0; i < n; ++i) {
    text += "<study uid='1.2.840." + std::to_string(i) + "'><date>2024-0" + std::to_string(1 + i % 9) +
            "-1" + std::to_string(i % 10) + "</date><count>" + std::to_string(i % 2000) +
            "</count><description>Study number " + std::to_string(i) + "</description></study>";
  }
  return text + "</studies>";
}

// As Validate does it: the schema compiled anew, then the document validated.
void BM_Libxml2SchemaValidate_Peer(benchmark::State& state) {
  const std::string text = instance(static_cast<int>(state.range(0)));
  xmlDocPtr doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, 0);
  xmlDocPtr schemaDoc = xmlReadMemory(kSchema, sizeof kSchema - 1, nullptr, nullptr, 0);
  for (auto _ : state) {
    xmlSchemaParserCtxtPtr parser = xmlSchemaNewDocParserCtxt(schemaDoc);
    xmlSchemaPtr schema = xmlSchemaParse(parser);
    xmlSchemaValidCtxtPtr validator = xmlSchemaNewValidCtxt(schema);
    if (xmlSchemaValidateDoc(validator, doc) != 0) state.SkipWithError("invalid");
    xmlSchemaFreeValidCtxt(validator);
    xmlSchemaFree(schema);
    xmlSchemaFreeParserCtxt(parser);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
  xmlFreeDoc(schemaDoc);
  xmlFreeDoc(doc);
}
BENCHMARK(BM_Libxml2SchemaValidate_Peer)->Arg(10)->Arg(10000)->Unit(benchmark::kMicrosecond);

void BM_Validate(benchmark::State& state) {
  const std::string text = instance(static_cast<int>(state.range(0)));
  XmlDocument doc;
  doc.LoadXml(text.c_str(), 65001);
  XmlDocument schema;
  schema.LoadXml(kSchema);
  for (auto _ : state) {
    if (!doc.Validate(schema)) state.SkipWithError("invalid");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_Validate)->Arg(10)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
