// bench/corpus.h: locating and loading the benchmark corpus; reading the process's
// memory figures.
//
// The corpus is made by shared/corpus/gen_corpus.py. The benchmarks look for it in the
// directory named by CORVANE_XML_CORPUS, else in the build tree's corpus/ directory,
// which the `corpus` target fills (scale 10).
#ifndef CORVANE_XML_BENCH_CORPUS_H
#define CORVANE_XML_BENCH_CORPUS_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace bench {

inline std::string corpusPath(const std::string& file) {
  const char* dir = std::getenv("CORVANE_XML_CORPUS");
  return std::string(dir != nullptr ? dir : CORVANE_XML_DEFAULT_CORPUS) + "/" + file;
}

// The whole file; throws when it is missing, naming the file.
inline std::string readCorpus(const std::string& file) {
  const std::string path = corpusPath(file);
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw std::runtime_error("missing corpus file " + path +
                             " (build the `corpus` target or set CORVANE_XML_CORPUS)");
  }
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A field of /proc/self/status in kB ("VmRSS:", "VmHWM:"), or 0.
inline long statusKb(const char* field) {
  std::ifstream in("/proc/self/status");
  std::string line;
  const std::size_t n = std::strlen(field);
  while (std::getline(in, line)) {
    if (line.compare(0, n, field) == 0) return std::stol(line.substr(n + 1));
  }
  return 0;
}

}  // namespace bench

#endif  // CORVANE_XML_BENCH_CORPUS_H
