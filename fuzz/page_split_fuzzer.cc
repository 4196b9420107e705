// Splitting a cleaned page into pages, on arbitrary HTML: the first byte
// chooses a small page size, every third id asks for a break. Every page is
// saved; an id on no page or on two, or a word lost or moved, aborts.
#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/fuzz_workdir.h"
#include "xml/page_split.h"
#include "xml/well_formed.h"
#include "xml/xml_base.h"

namespace {

struct Seen {
  std::vector<std::string> words;
  std::map<std::string, int> ids;
};

void Collect(const xmlNode* node, Seen* seen) {
  for (; node != nullptr; node = node->next) {
    if (node->type == XML_TEXT_NODE && node->content != nullptr) {
      std::istringstream text(reinterpret_cast<const char*>(node->content));
      for (std::string word; text >> word;) seen->words.push_back(word);
    }
    if (node->type != XML_ELEMENT_NODE) continue;
    if (xmlChar* id = xmlGetProp(node, BAD_CAST "id")) {
      ++seen->ids[reinterpret_cast<char*>(id)];
      xmlFree(id);
    }
    Collect(node->children, seen);
  }
}

const xmlNode* Body(xmlDoc* doc) {
  const xmlNode* html = xmlDocGetRootElement(doc);
  for (const xmlNode* child = html != nullptr ? html->children : nullptr; child != nullptr;
       child = child->next) {
    if (child->type == XML_ELEMENT_NODE && xmlStrEqual(child->name, BAD_CAST "body")) return child;
  }
  return nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string& dtd = kav_fuzz::DtdPath();
  const std::string& work = kav_fuzz::FreshWorkDir();
  const std::string htmlPath = work + "/in.html";
  kav_fuzz::WriteBytes(htmlPath, data + 1, size - 1);

  XMLBase page;
  if (page.Init() != 0) return 0;
  kav_xml::BreakMarkers markers;
  if (page.HtmlProcess(htmlPath.c_str(), work.c_str(), "page-1", dtd.c_str()) != 0) return 0;
  std::vector<const xmlNode*> removed;
  kav_xml::MakeWellFormed(page.Document(), &removed);
  const xmlNode* body = Body(page.Document());
  if (body == nullptr) return 0;
  Seen before;
  Collect(body->children, &before);

  kav_xml::PageSplitInput input;
  input.markers = markers.nodes();
  input.maxPageBytes = 300 + static_cast<size_t>(data[0]) * 16;
  int n = 0;
  for (const auto& id : before.ids) {
    if (n++ % 3 == 0) input.breakIds.insert(id.first);
  }
  Seen after;
  auto name = [](size_t index) { return "page-" + std::to_string(index + 1) + ".html"; };
  auto sink = [&after, &work, &name](size_t index, xmlDoc* doc) {
    const xmlNode* pageBody = Body(doc);
    if (pageBody != nullptr) Collect(pageBody->children, &after);
    return kav_xml::SaveXhtmlDocument(doc, (work + "/" + name(index)).c_str());
  };
  std::unordered_map<std::string, size_t> pageOfId;
  size_t pages = 0;
  if (kav_xml::SplitPage(page.Document(), input, name, sink, &pageOfId, &pages) != 0) return 0;
  if (pages == 0 || before.words != after.words || before.ids != after.ids ||
      pageOfId.size() != before.ids.size()) {
    std::abort();
  }
  while (char* ref = page.GetXhtmlExternSource()) std::free(ref);
  return 0;
}
