#ifndef KAV_EPUB_TESTS_XML_PARSED_XML_H_
#define KAV_EPUB_TESTS_XML_PARSED_XML_H_

#include <libxml/parser.h>

#include <string>

#include "xml/xml_base.h"

// An XMLBase holding a document parsed from XML text, with its root as the
// start of path lookups.
class ParsedXml : public XMLBase {
 public:
  explicit ParsedXml(const std::string& xml) {
    doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0);
    root = xmlDocGetRootElement(doc);
  }
  xmlNode* Root() const { return root; }
  xmlDoc* Doc() const { return doc; }
};

// The id attribute of node, "none" for an element without one, "null" for
// no node at all.
inline std::string Id(xmlNode* node) {
  if (node == nullptr) return "null";
  xmlChar* id = xmlGetProp(node, BAD_CAST "id");
  std::string text = id != nullptr ? reinterpret_cast<const char*>(id) : "none";
  xmlFree(id);
  return text;
}

#endif  // KAV_EPUB_TESTS_XML_PARSED_XML_H_
