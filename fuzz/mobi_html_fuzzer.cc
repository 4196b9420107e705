// The rewriting of MOBI picture references on arbitrary HTML. The first
// byte chooses how many picture names there are (none to four) and whether
// the first one is empty, which decides the fate of an image element.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_workdir.h"
#include "xml/xml_base.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::vector<std::string> images = {"00001.jpg", "00002.gif", "images/00003.png", "a b&c.jpg"};
  images.resize(data[0] % 5);
  if ((data[0] & 0x80) != 0 && !images.empty()) images[0].clear();

  const std::string& work = kav_fuzz::FreshWorkDir();
  const std::string htmlPath = work + "/book.html";
  kav_fuzz::WriteBytes(htmlPath, data + 1, size - 1);
  XMLBase::MobiHtmlProcess(htmlPath.c_str(), "UTF-8", images);
  return 0;
}
