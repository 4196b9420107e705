// Runs every file of the given directories (sorted, missing ones skipped)
// through the fuzz target once, so that seeds and kept crashing inputs are
// checked by the ordinary test run and under the sanitizers.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

// Under AddressSanitizer, an allocation far beyond any input's needs is a
// finding, as it is for the fuzzer (whose limit is its 2 GB RSS limit).
// Exported: the sanitizer runtime looks it up in the dynamic symbol table,
// and the build hides symbols by default.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "max_allocation_size_mb=2048";
}

int main(int argc, char** argv) {
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    std::error_code ec;
    for (fs::recursive_directory_iterator it(argv[i], ec), end; !ec && it != end;
         it.increment(ec)) {
      if (it->is_regular_file() && it->path().filename() != "README") inputs.push_back(it->path());
    }
  }
  std::sort(inputs.begin(), inputs.end());
  for (const fs::path& input : inputs) {
    std::ifstream in(input, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    std::printf("%s (%zu bytes)\n", input.c_str(), bytes.size());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::printf("%zu inputs replayed\n", inputs.size());
  return 0;
}
