// Dropping "</br>" end tags from arbitrary HTML must leave the tree that
// the importer's parse makes of it exactly as it was.
#include <libxml/HTMLparser.h>
#include <libxml/HTMLtree.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/mobi/break_end_tags.h"
#include "platform/mobi/quiet_libxml2.h"

namespace {

std::string ParsedTree(const std::string& html) {
  htmlDocPtr doc =
      htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, "UTF-8", 16485);
  if (doc == nullptr) return "(none)";
  xmlChar* out = nullptr;
  int size = 0;
  htmlDocDumpMemoryFormat(doc, &out, &size, 0);
  std::string tree(out != nullptr ? reinterpret_cast<const char*>(out) : "",
                   out != nullptr ? size : 0);
  xmlFree(out);
  xmlFreeDoc(doc);
  return tree;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string html(reinterpret_cast<const char*>(data), size);
  const std::string out = kavmobi::WithoutBreakEndTags(html);
  if (out == html) return 0;
  kavmobi::QuietLibxml2 quiet;
  if (ParsedTree(html) != ParsedTree(out)) abort();
  return 0;
}
