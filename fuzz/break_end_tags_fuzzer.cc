// The plain-markup scan of the MOBI reader on arbitrary HTML: dropping
// "</br>" end tags must leave the tree that the importer's parse makes of
// it exactly as it was, and plain HTML whose references were let through
// must hold no src or href in that tree that could lead out of the book;
// the reader's single scan for both answers as the two scans in turn.
#include <libxml/HTMLparser.h>
#include <libxml/HTMLtree.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/mobi/break_end_tags.h"
#include "platform/mobi/contained_references.h"
#include "platform/mobi/quiet_libxml2.h"

namespace {

htmlDocPtr Parse(const std::string& html) {
  return htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, "UTF-8", 16485);
}

std::string ParsedTree(const std::string& html) {
  htmlDocPtr doc = Parse(html);
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

bool TreeContained(xmlNode* node) {
  for (; node != nullptr; node = node->next) {
    if (node->type != XML_ELEMENT_NODE) continue;
    for (xmlAttr* attr = node->properties; attr != nullptr; attr = attr->next) {
      if (xmlStrcasecmp(attr->name, BAD_CAST "src") != 0 &&
          xmlStrcasecmp(attr->name, BAD_CAST "href") != 0) {
        continue;
      }
      xmlChar* value = xmlNodeListGetString(node->doc, attr->children, 1);
      const bool contained =
          value != nullptr && kavmobi::IsContainedReference(reinterpret_cast<char*>(value));
      xmlFree(value);
      if (!contained) return false;
    }
    if (!TreeContained(node->children)) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string html(reinterpret_cast<const char*>(data), size);
  kavmobi::QuietLibxml2 quiet;
  const std::string out = kavmobi::WithoutBreakEndTags(html);
  if (out != html && ParsedTree(html) != ParsedTree(out)) abort();

  // A path in the text makes every reference checked. Only pages the plain
  // scan follows to the end are answered by it; the rest go to the parser.
  const std::string page = "<p>../</p>" + html;
  const bool plain = kavmobi::EveryAttributeOfPlainMarkup(
      page, [](std::string_view, const std::string_view*) { return true; });
  // The reader's one scan for both gives what the two in turn give.
  if (kavmobi::WithContainedReferencesAndNoBreakEndTags(page) !=
      kavmobi::WithContainedReferences(kavmobi::WithoutBreakEndTags(page))) {
    abort();
  }
  if (plain && kavmobi::WithContainedReferences(page) == page) {
    htmlDocPtr doc = Parse(page);
    if (doc != nullptr) {
      const bool contained = TreeContained(xmlDocGetRootElement(doc));
      xmlFreeDoc(doc);
      if (!contained) abort();
    }
  }
  return 0;
}
