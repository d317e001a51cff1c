// bench/peers.h: the comparison peers the reading benchmarks share.
#ifndef CORVANE_XML_BENCH_PEERS_H
#define CORVANE_XML_BENCH_PEERS_H

#include <string>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>

namespace bench {

// One parse of bytes by a bare Xerces SAXParser at its defaults with an empty
// HandlerBase: the floor of any reader on that parser.
inline void bareXercesParse(const std::string& bytes) {
  xercesc::HandlerBase handler;
  xercesc::SAXParser parser;
  parser.setDocumentHandler(&handler);
  parser.setErrorHandler(&handler);
  const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(bytes.data()),
                                          bytes.size(), "bench", false);
  parser.parse(source);
}

}  // namespace bench

#endif  // CORVANE_XML_BENCH_PEERS_H
