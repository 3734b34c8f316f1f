// The test suite's side of a fuzz target: runs every file of the folders (or
// the files) named on the command line through the target's entry point, in
// name order, under whatever build this is (Release, or ASan/UBSan in CI).
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace fs = std::filesystem;

int main(int argc, char** argv) {
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const fs::path arg = argv[i];
    if (fs::is_directory(arg)) {
      for (const fs::directory_entry& e : fs::directory_iterator(arg))
        if (e.is_regular_file()) inputs.push_back(e.path());
    } else if (fs::is_regular_file(arg)) {
      inputs.push_back(arg);
    }
  }
  std::sort(inputs.begin(), inputs.end());
  if (inputs.empty()) {
    std::fprintf(stderr, "no input found: a target without a corpus tests nothing\n");
    return 1;
  }
  for (const fs::path& p : inputs) {
    std::vector<uint8_t> bytes(fs::file_size(p));
    std::FILE* f = std::fopen(p.c_str(), "rb");
    if (!f || (!bytes.empty() && std::fread(bytes.data(), 1, bytes.size(), f) != bytes.size())) {
      std::fprintf(stderr, "%s: can not be read\n", p.c_str());
      return 1;
    }
    std::fclose(f);
    std::printf("%s (%zu bytes)\n", p.c_str(), bytes.size());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::printf("%zu inputs passed\n", inputs.size());
  return 0;
}
