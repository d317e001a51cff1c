// tools/corvane-xml/text.cpp: escape and unescape, standard input to standard output, in
// blocks, so that input of any size streams.
#include <cstdio>
#include <string>

#include "commands.h"
#include "common.h"
#include "xml/xmlstringconversion.h"

namespace tool {

namespace {

constexpr std::size_t kBlock = 64 * 1024;
// The longest escape the library undoes ("&apos;", "&quot;").
constexpr std::size_t kLongestEscape = 6;

bool readBlock(std::string& block) {
  block.resize(kBlock);
  const std::size_t n = std::fread(&block[0], 1, kBlock, stdin);
  block.resize(n);
  if (std::ferror(stdin)) throw FileError("<stdin>: read error");
  return n > 0;
}

void write(const char* data, std::size_t n) {
  if (n != 0 && std::fwrite(data, 1, n, stdout) != n) throw FileError("<stdout>: write error");
}

void write(const std::string& s) { write(s.data(), s.size()); }

// Zero bytes cannot be carried by XML text; they are dropped.
void dropZeroBytes(std::string& s) {
  std::size_t j = 0;
  for (char c : s) {
    if (c != 0) s[j++] = c;
  }
  s.resize(j);
}

}  // namespace

int runEscape(const std::vector<std::string>& args, bool) {
  Arguments a(args, {}, {});
  a.expectOperands(0);
  std::string block;
  ACE_CString escaped;
  while (readBlock(block)) {
    dropZeroBytes(block);
    // Every byte escapes on its own, so blocks can be escaped one by one.
    const char* out = ConvertStringToXmlString(block.c_str(), escaped);
    write(out, out == block.c_str() ? block.size() : escaped.length());
  }
  return kOk;
}

// Unescaping runs from each "&" to the next ";", so a block is cut only where no such
// candidate is open: after its last ";", or at its end when no "&" follows that. A
// candidate longer than any escape is copied as it stands up to its ";", however far.
int runUnescape(const std::vector<std::string>& args, bool) {
  Arguments a(args, {}, {});
  a.expectOperands(0);
  std::string pending;  // bytes not yet unescaped
  std::string block;
  ACE_CString plain;
  bool verbatim = false;  // inside a candidate too long to match: copy up to ";"
  auto unescape = [&plain](const std::string& text) {
    ConvertXmlStringToString(text.c_str(), plain);
    write(plain.c_str(), plain.length());
  };
  while (readBlock(block)) {
    dropZeroBytes(block);
    std::size_t start = 0;
    if (verbatim) {
      const std::size_t semi = block.find(';');
      if (semi == std::string::npos) {
        write(block);
        continue;
      }
      write(block.data(), semi + 1);
      verbatim = false;
      start = semi + 1;
    }
    pending.append(block, start, std::string::npos);
    const std::size_t lastSemi = pending.rfind(';');
    const std::size_t open = pending.find('&', lastSemi == std::string::npos ? 0 : lastSemi + 1);
    if (open == std::string::npos) {
      unescape(pending);
      pending.clear();
    } else if (pending.size() - open > kLongestEscape) {
      unescape(pending.substr(0, open));
      write(pending.data() + open, pending.size() - open);
      pending.clear();
      verbatim = true;
    } else {
      unescape(pending.substr(0, open));
      pending.erase(0, open);
    }
  }
  unescape(pending);
  return kOk;
}

}  // namespace tool
