// The XHTML clean-up on arbitrary HTML, with a few local files for its
// references to find; the page must come out the same when the read keeps
// every attribute (the attributes it leaves out are ones the repairs remove).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "fuzz/fuzz_workdir.h"
#include "xml/html_read.h"
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

  std::string cleaned[2];
  for (int keepAll = 0; keepAll < 2; ++keepAll) {
    XMLBase page;
    if (page.Init() != 0) return 0;
    std::unique_ptr<kav_xml::KeepAllAttributes> keep;
    if (keepAll == 1) keep = std::make_unique<kav_xml::KeepAllAttributes>();
    const std::string out = work + "/out.html";
    const int r = page.HtmlProcess(htmlPath.c_str(), srcDir.c_str(), "page-1", dtd.c_str());
    cleaned[keepAll] = std::to_string(r);
    if (r == 0 && page.SaveFile(out.c_str()) == 0) {
      std::ifstream in(out, std::ios::binary);
      std::ostringstream text;
      text << in.rdbuf();
      cleaned[keepAll] += text.str();
    }
    while (char* ref = page.GetXhtmlExternSource()) {
      cleaned[keepAll] += ref;
      std::free(ref);
    }
  }
  if (cleaned[0] != cleaned[1]) std::abort();
  return 0;
}
