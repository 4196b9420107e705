// The navigation document (toc.ncx): one numbered navigation point a page.

#include <cstdio>
#include <string>

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

int XMLFile::SaveNcxFile(const char* path) {
  if (ncxDoc == nullptr) return KAV_ERR_NO_PAGE;
  const RecordRun points{"navMap", navPoints.size(), [this](XMLBase& doc, std::size_t i) {
                           const NavPoint& point = navPoints[i];
                           AddNavPoint(doc, point.order, point.src.c_str(),
                                       point.labelled ? point.label.c_str() : nullptr);
                         }};
  return static_cast<int>(static_cast<RecordDocument*>(ncxDoc)->SaveWithRecords(path, {points}));
}
