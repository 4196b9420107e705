// The XHTML clean-up on arbitrary HTML, with a few local files for its
// references to find.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/fuzz_workdir.h"
#include "xml/xml_base.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& dtd = kav_fuzz::DtdPath();
  const std::string& work = kav_fuzz::FreshWorkDir();
  const std::string srcDir = work + "/src";
  const std::string htmlPath = srcDir + "/in.html";
  kav_fuzz::WriteBytes(htmlPath, data, size);
  for (const char* name : {"a.png", "img/b.jpg", "s.css", "c.html"}) {
    kav_fuzz::WriteBytes(srcDir + "/" + name, reinterpret_cast<const uint8_t*>("x"), 1);
  }

  XMLBase page;
  if (page.Init() != 0) return 0;
  if (page.HtmlProcess(htmlPath.c_str(), srcDir.c_str(), "page-1", dtd.c_str()) == 0) {
    page.SaveFile((work + "/out.html").c_str());
  }
  while (char* ref = page.GetXhtmlExternSource()) std::free(ref);
  return 0;
}
