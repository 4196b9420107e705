// The HTML import of a book on arbitrary HTML: the input is both the top
// page and a page it may refer to, beside a picture and a style sheet, so
// that the walk over references (cycles included) runs on it too.
#include <cstddef>
#include <cstdint>
#include <string>

#include "builder/epub_base.h"
#include "fuzz/fuzz_workdir.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& work = kav_fuzz::FreshWorkDir();
  const std::string srcDir = work + "/src";
  for (const char* name : {"index.html", "c.html", "sub/d.htm"}) {
    kav_fuzz::WriteBytes(srcDir + "/" + name, data, size);
  }
  for (const char* name : {"a.png", "img/b.jpg", "s.css"}) {
    kav_fuzz::WriteBytes(srcDir + "/" + name, reinterpret_cast<const uint8_t*>("x"), 1);
  }

  EpubBase book;
  if (book.Init(work.c_str(), "t", "a") != 0) return 0;
  if (book.AddHTHLToEpub((srcDir + "/index.html").c_str()) == 0) {
    book.GenerateEpub((work + "/book.epub").c_str());
  }
  return 0;
}
