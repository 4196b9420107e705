// The navigation document (toc.ncx): one numbered navigation point a page.

#include <libxml/tree.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

#include "package/attr_chain.h"
#include "package/document_text.h"
#include "package/record_document.h"
#include "package/xml_file.h"
#include "service/kav_result.h"
#include "xml/xml_base.h"

namespace {

constexpr char kNcxNamespace[] = "http://www.daisy.org/z3986/2005/ncx/";

// Adds navigation point number `order`, pointing to src, under the newest
// navMap of doc; its label is label, or the point's number when it has none.
void AddNavPoint(XMLBase& doc, int order, const char* src, const char* label) {
  // Room for "c" and any int, so a large count cannot overrun the buffer.
  char id[16] = {};
  std::snprintf(id, sizeof(id), "c%d", order);
  char number[16] = {};
  std::snprintf(number, sizeof(number), "%d", order);

  AttrChain point;
  point.Add("id", id).Add("playOrder", number);
  doc.AddXMLNode("navMap", "navPoint", point.head());

  // The newest-match lookup puts these into the point just added, and the
  // label into its own text element rather than the one of docTitle.
  doc.AddXMLNode("navPoint", "navLabel", nullptr);
  doc.AddXMLNode("navLabel", "text", nullptr);
  doc.AddTextToNode("text", label != nullptr ? EscapeAmpersands(label).c_str() : number);

  AttrChain content;
  content.Add("src", src);
  doc.AddXMLNode("navPoint", "content", content.head());
}

void SetDepthMeta(XMLBase& doc, int depth) {
  xmlNode* root = doc.Document() != nullptr ? xmlDocGetRootElement(doc.Document()) : nullptr;
  if (root == nullptr) return;
  const std::string content = std::to_string(depth);
  for (xmlNode* head = root->children; head != nullptr; head = head->next) {
    if (head->type != XML_ELEMENT_NODE || !xmlStrEqual(head->name, BAD_CAST "head")) continue;
    for (xmlNode* meta = head->children; meta != nullptr; meta = meta->next) {
      xmlChar* name = xmlGetProp(meta, BAD_CAST "name");
      const bool depthMeta = name != nullptr && xmlStrEqual(name, BAD_CAST "dtb:depth");
      xmlFree(name);
      if (depthMeta) xmlSetProp(meta, BAD_CAST "content", BAD_CAST content.c_str());
    }
  }
}

xmlNode* NewNavPoint(xmlNode* parent, int number, int order, const std::string& src,
                     const std::string& label) {
  xmlNode* point = xmlNewChild(parent, nullptr, BAD_CAST "navPoint", nullptr);
  if (point == nullptr) return nullptr;
  xmlNewProp(point, BAD_CAST "id", BAD_CAST("c" + std::to_string(number)).c_str());
  xmlNewProp(point, BAD_CAST "playOrder", BAD_CAST std::to_string(order).c_str());
  xmlNode* navLabel = xmlNewChild(point, nullptr, BAD_CAST "navLabel", nullptr);
  if (navLabel != nullptr) xmlNewTextChild(navLabel, nullptr, BAD_CAST "text", BAD_CAST label.c_str());
  xmlNode* content = xmlNewChild(point, nullptr, BAD_CAST "content", nullptr);
  if (content != nullptr) xmlNewProp(content, BAD_CAST "src", BAD_CAST src.c_str());
  return point;
}

}  // namespace

int XMLFile::InitNcxFile(const char* title) {
  navOrder = 1;
  // A second initialisation replaces the document; the old one is freed.
  delete ncxDoc;
  ncxDoc = new RecordDocument();
  navPoints.clear();
  // The page initialisation on purpose: the file carries the pages' html
  // document type, not an NCX one.
  unsigned int result = ncxDoc->Init();
  if (result != KAV_OK) return static_cast<int>(result);

  AttrChain ncx;
  ncx.Add("xmlns", kNcxNamespace).Add("version", "2005-1");
  ncxDoc->AddXMLNode(nullptr, "ncx", ncx.head());
  ncxDoc->AddXMLNode("ncx", "head", nullptr);

  // The uid is read from the clock afresh, independently of the package
  // document's identifier.
  const std::string uid = TimeIdentifier();
  const char* const kMeta[][2] = {
      {"dtb:uid", uid.c_str()},
      {"dtb:depth", "2"},
      {"dtb:totalPageCount", "0"},
      {"dtb:maxPageNumber", "0"},
  };
  for (const auto& meta : kMeta) {
    AttrChain attrs;
    attrs.Add("name", meta[0]).Add("content", meta[1]);
    ncxDoc->AddXMLNode("head", "meta", attrs.head());
  }

  ncxDoc->AddXMLNode("ncx", "docTitle", nullptr);
  ncxDoc->AddXMLNode("docTitle", "text", nullptr);
  ncxDoc->AddTextToNode("text", EscapeAmpersands(title).c_str());
  ncxDoc->AddXMLNode("ncx", "navMap", nullptr);
  return KAV_OK;
}

int XMLFile::AddRecordToNcx(const char* src) { return AddRecordToNcx(src, nullptr); }

int XMLFile::AddRecordToNcx(const char* src, const char* label) {
  // navOrder is only meaningful once the document exists.
  if (ncxDoc == nullptr) return KAV_OK;
  navPoints.push_back(NavPoint{navOrder, src != nullptr ? src : "", label != nullptr,
                               label != nullptr ? label : ""});
  ++navOrder;
  return KAV_OK;
}

int XMLFile::AddNestedRecordToNcx(const char* src, const char* label, int depth) {
  if (ncxDoc == nullptr) return KAV_OK;
  navPoints.push_back(NavPoint{navOrder, src != nullptr ? src : "", true,
                               label != nullptr ? label : "", std::max(depth, 1)});
  ++navOrder;
  return KAV_OK;
}

int XMLFile::SaveNcxFile(const char* path) {
  if (ncxDoc == nullptr) return KAV_ERR_NO_PAGE;
  const bool nested = std::any_of(navPoints.begin(), navPoints.end(),
                                  [](const NavPoint& point) { return point.depth > 0; });
  if (nested) return SaveNestedNcx(path);
  const RecordRun points{"navMap", navPoints.size(), [this](XMLBase& doc, std::size_t i) {
                           const NavPoint& point = navPoints[i];
                           AddNavPoint(doc, point.order, point.src.c_str(),
                                       point.labelled ? point.label.c_str() : nullptr);
                         }};
  return static_cast<int>(static_cast<RecordDocument*>(ncxDoc)->SaveWithRecords(path, {points}));
}

int XMLFile::SaveNestedNcx(const char* path) {
  // Each top point is one record with the points under it; a point deeper
  // than one below the point before it is taken one below.
  std::vector<std::size_t> tops;
  std::vector<int> depths(navPoints.size());
  std::vector<int> orders(navPoints.size());
  std::unordered_map<std::string, int> orderOfSrc;
  int maxDepth = 1;
  int nextOrder = 1;
  for (std::size_t i = 0; i < navPoints.size(); ++i) {
    const int previous = i == 0 ? 0 : depths[i - 1];
    depths[i] = std::min(std::max(navPoints[i].depth, 1), previous + 1);
    if (depths[i] == 1) tops.push_back(i);
    maxDepth = std::max(maxDepth, depths[i]);
    auto known = orderOfSrc.emplace(navPoints[i].src, nextOrder);
    if (known.second) ++nextOrder;
    orders[i] = known.first->second;
  }
  SetDepthMeta(*ncxDoc, maxDepth);
  const RecordRun points{"navMap", tops.size(), [&](XMLBase& doc, std::size_t t) {
                           xmlNode* navMap = xmlDocGetRootElement(doc.Document());
                           const std::size_t end = t + 1 < tops.size() ? tops[t + 1] : navPoints.size();
                           std::vector<xmlNode*> open;  // the newest point at each depth
                           for (std::size_t i = tops[t]; i < end; ++i) {
                             const int depth = depths[i];
                             open.resize(static_cast<std::size_t>(depth - 1));
                             xmlNode* parent = depth == 1 ? navMap : open.back();
                             const NavPoint& point = navPoints[i];
                             xmlNode* node = NewNavPoint(parent, static_cast<int>(i) + 1, orders[i],
                                                         point.src, point.label);
                             if (node == nullptr) return;
                             open.push_back(node);
                           }
                         }};
  return static_cast<int>(static_cast<RecordDocument*>(ncxDoc)->SaveWithRecords(path, {points}));
}
