// Raw text lines through the paragraph classifier, then as one page of a book.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "builder/epub_base.h"
#include "fuzz/fuzz_workdir.h"

namespace {

// The input cut the way a text file is read: at line feeds (kept) and at 254
// bytes, each piece ending at its first NUL as a C string does.
std::vector<std::string> SplitLines(const uint8_t* data, size_t size) {
  std::vector<std::string> lines;
  std::string line;
  for (size_t i = 0; i < size; ++i) {
    line.push_back(static_cast<char>(data[i]));
    if (data[i] == '\n' || line.size() == 254) {
      lines.push_back(line.c_str());
      line.clear();
    }
  }
  if (!line.empty()) lines.push_back(line.c_str());
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> lines = SplitLines(data, size);

  int prevIndent = 0, prevLineLen = 0, maxLineLen = 0;
  for (const std::string& line : lines) {
    std::string out;
    int r = EpubBase::LineProc(line.c_str(), out, prevIndent, prevLineLen, maxLineLen);
    if (r != 0 && r != 1 && r != 407) __builtin_trap();
    if (r == 407 && !line.empty()) __builtin_trap();
  }

  const std::string& work = kav_fuzz::FreshWorkDir();
  EpubBase book;
  if (book.Init(work.c_str(), "t", "a") != 0) return 0;
  if (book.StartPage() == 0) {
    for (const std::string& line : lines) book.AddTextLineToPage(line.c_str());
    book.EndPage();
  }
  return 0;
}
