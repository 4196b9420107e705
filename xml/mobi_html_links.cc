// Rewriting the record-number picture references of HTML taken from a MOBI
// book into ordinary img elements.
#include <libxml/HTMLparser.h>
#include <libxml/xpath.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"
#include "xml/libxml_quiet.h"
#include "xml/xml_base.h"
#include "xml/xml_string.h"

namespace {

// HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NOBLANKS, and no
// recovery: MOBI HTML is the reader library's own output.
const int kMobiParseOptions = 352;

void IgnoreXPathError(void*, xmlError*) {}

// The nodes matching expression, or null when there are none or the query
// could not run. The caller frees the result.
xmlXPathObject* Select(xmlDoc* document, const char* expression) {
  xmlXPathContext* context = xmlXPathNewContext(document);
  if (context == nullptr) return nullptr;
  context->error = IgnoreXPathError;
  const kav_xml::XmlString query(expression);
  xmlXPathObject* result = xmlXPathEvalExpression(query.get(), context);
  xmlXPathFreeContext(context);
  return result;
}

int NodeCount(const xmlXPathObject* result) {
  if (result == nullptr || result->nodesetval == nullptr || result->nodesetval->nodeTab == nullptr)
    return 0;
  return result->nodesetval->nodeNr;
}

// A new img whose only attribute is src.
xmlNode* NewImage(const std::string& source) {
  const kav_xml::XmlString name("img");
  xmlNode* image = xmlNewNode(nullptr, name.get());
  if (image == nullptr) return nullptr;
  const kav_xml::XmlString attribute("src");
  const kav_xml::XmlString value(source.c_str());
  xmlNewProp(image, attribute.get(), value.get());
  return image;
}

// Puts a new img with src in the place of old, or just takes old out when
// the img cannot be made; old is freed either way.
void ReplaceWithImage(xmlNode* old, const std::string& source) {
  xmlNode* image = NewImage(source);
  if (image != nullptr) {
    xmlReplaceNode(old, image);
  } else {
    xmlUnlinkNode(old);
  }
  xmlFreeNode(old);
}

void RewriteRecordImages(xmlDoc* document, const std::vector<std::string>& images) {
  xmlXPathObject* found = Select(document, "//img");
  const int count = NodeCount(found);
  for (int i = 0; i < count; ++i) {
    xmlNode* node = found->nodesetval->nodeTab[i];
    const kav_xml::XmlString attribute("recindex");
    xmlChar* recindex = xmlGetProp(node, attribute.get());
    if (recindex == nullptr) continue;
    // atol, but with overflow held at the ends of long rather than left
    // undefined; text that is no number reads as 0.
    const long record = std::strtol(reinterpret_cast<const char*>(recindex), nullptr, 10);
    xmlFree(recindex);
    // A negative number taken as unsigned is beyond every list.
    if (static_cast<unsigned long>(record) >= images.size()) {
      xmlUnlinkNode(node);
      xmlFreeNode(node);
    } else {
      ReplaceWithImage(node, images[static_cast<std::size_t>(record)]);
    }
    found->nodesetval->nodeTab[i] = nullptr;
  }
  if (found != nullptr) xmlXPathFreeObject(found);
}

// Only the first image element is the cover; it takes the first entry.
void RewriteCoverImage(xmlDoc* document, const std::vector<std::string>& images) {
  xmlXPathObject* found = Select(document, "//image");
  if (NodeCount(found) > 0) {
    xmlNode* node = found->nodesetval->nodeTab[0];
    if (!images[0].empty()) {
      ReplaceWithImage(node, images[0]);
    } else {
      xmlUnlinkNode(node);
      xmlFreeNode(node);
    }
    found->nodesetval->nodeTab[0] = nullptr;
  }
  if (found != nullptr) xmlXPathFreeObject(found);
}

// Every html element after the first goes. They are taken from the last to
// the second: a later one may lie inside an earlier one, and freeing the
// inner one first keeps every pointer in the set valid.
void RemoveNestedDocuments(xmlDoc* document) {
  xmlXPathObject* found = Select(document, "//html");
  const int count = NodeCount(found);
  for (int i = count - 1; i >= 1; --i) {
    xmlNode* node = found->nodesetval->nodeTab[i];
    xmlUnlinkNode(node);
    xmlFreeNode(node);
    found->nodesetval->nodeTab[i] = nullptr;
  }
  if (found != nullptr) xmlXPathFreeObject(found);
}

}  // namespace

int XMLBase::MobiHtmlProcess(const char* htmlPath, const char* encoding,
                             std::vector<std::string>& images) {
  if (KavIsFileExists(htmlPath) == 0) return KAV_ERR_MISSING;
  if (images.empty()) return KAV_OK;

  const kav_xml::XmlString path(htmlPath);
  const kav_xml::XmlString charset(encoding);
  kav_xml::QuietLibxml quiet;
  xmlDoc* document = htmlReadFile(path.c_str(), charset.c_str(), kMobiParseOptions);
  if (document == nullptr) return KAV_ERR_OPEN;

  RewriteRecordImages(document, images);
  RewriteCoverImage(document, images);
  RemoveNestedDocuments(document);

  const int written = xmlSaveFileEnc(path.c_str(), document, charset.c_str());
  xmlFreeDoc(document);
  return written == -1 ? KAV_ERR_MOBI_HTML_SAVE : KAV_OK;
}
