// A whole text-file conversion on arbitrary bytes.
#include <cstddef>
#include <cstdint>
#include <string>

#include "convert/epub_management.h"
#include "fuzz/fuzz_workdir.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& work = kav_fuzz::FreshWorkDir();
  const std::string txtPath = work + "/in/book.txt";
  kav_fuzz::WriteBytes(txtPath, data, size);

  EpubManagement conversion;
  if (conversion.Init(work.c_str(), "", "") == 0) {
    conversion.TXT2Epub(txtPath.c_str(), (work + "/in/book.epub").c_str(), nullptr, nullptr);
    conversion.ClearData();
  }
  return 0;
}
