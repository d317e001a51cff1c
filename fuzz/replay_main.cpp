// fuzz/replay_main.cpp: runs a fuzz target without libFuzzer.
//
// Linked with a target's LLVMFuzzerTestOneInput when the compiler has no libFuzzer (or
// fuzzers are not asked for), so that every target stays an ordinary program: it feeds
// each file named on the command line to the target once, and each regular file of each
// directory named there, in name order. A check that fails in the target aborts the
// program. Naming no input at all, or a directory that holds none, is an error, so a
// replay that silently ran nothing cannot pass.
//
//   streamin_fuzz fuzz/corpus/streamin crash-1234
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool replay(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "replay: cannot read %s\n", file.c_str());
    return false;
  }
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // A copy of exactly the input's size, so that a read past its end shows under the
  // address sanitizer as it would under libFuzzer; like libFuzzer, never a null pointer,
  // even for an empty input.
  const std::unique_ptr<std::uint8_t[]> input(new std::uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), input.get());
  LLVMFuzzerTestOneInput(input.get(), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s file-or-directory...\n", argv[0]);
    return 2;
  }
  std::size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path path(argv[i]);
    std::vector<std::filesystem::path> files;
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
      for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
      }
      std::sort(files.begin(), files.end());
      if (files.empty()) {
        std::fprintf(stderr, "replay: %s holds no input\n", path.c_str());
        return 1;
      }
    } else {
      files.push_back(path);
    }
    for (const auto& file : files) {
      if (!replay(file)) return 1;
      ++replayed;
    }
  }
  std::printf("replay: %zu inputs, no failure\n", replayed);
  return 0;
}
