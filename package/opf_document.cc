// The package document (content.opf): metadata, manifest, spine and guide.

#include <libxml/tree.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "package/attr_chain.h"
#include "package/document_text.h"
#include "package/record_document.h"
#include "package/xml_file.h"
#include "service/kav_result.h"
#include "xml/xml_base.h"

namespace {

constexpr char kOpfNamespace[] = "http://www.idpf.org/2007/opf";
constexpr char kDublinCoreNamespace[] = "http://purl.org/dc/elements/1.1/";
constexpr char kXhtmlMediaType[] = "application/xhtml+xml";

// The media type a manifest item gets for a file extension. The comparison
// is exact and case-sensitive; unknown extensions become "image/<ext>", so
// "htm" is image/htm and "JPG" is image/JPG.
std::string MediaTypeFor(const std::string& extension) {
  if (extension == "html") return kXhtmlMediaType;
  if (extension == "jpg") return "image/jpeg";
  if (extension == "css") return "text/css";
  return "image/" + extension;
}

// The numbers of the cover's two manifest items, beside the records' own.
constexpr int kCoverImage = -1;
constexpr int kCoverPage = -2;

// One manifest item as it is written: identifier, file, media type, and
// whether it is read in order (a spine entry).
struct ItemText {
  std::string id;
  const std::string* href;
  std::string mediaType;
  bool inSpine;
};

ItemText DescribeItem(int number, const std::string& href) {
  if (number == kCoverImage) {
    // The cover image is listed as JPEG whatever its format.
    return ItemText{"cover-image", &href, "image/jpeg", false};
  }
  if (number == kCoverPage) return ItemText{"title", &href, kXhtmlMediaType, true};
  char id[16] = {};
  std::snprintf(id, sizeof(id), "rc_%d", number);
  // Only pages are read in order; images and the style sheet are not.
  const std::string extension = href.substr(href.rfind('.') + 1);
  return ItemText{id, &href, MediaTypeFor(extension), extension == "html"};
}

void AddItem(XMLBase& doc, const ItemText& item) {
  AttrChain attrs;
  attrs.Add("id", item.id.c_str())
      .Add("href", item.href->c_str())
      .Add("media-type", item.mediaType.c_str());
  doc.AddXMLNode("manifest", "item", attrs.head());
}

void AddItemref(XMLBase& doc, const ItemText& item) {
  AttrChain itemref;
  itemref.Add("idref", item.id.c_str());
  doc.AddXMLNode("spine", "itemref", itemref.head());
}

}  // namespace

int XMLFile::InitOpfFile(const char* title, const char* author) {
  // A second initialisation replaces the document; the old one is freed.
  delete opfDoc;
  opfDoc = new RecordDocument();
  manifestItems.clear();
  coverNames.clear();
  unsigned int result = opfDoc->InitForOpf();
  if (result != KAV_OK) return static_cast<int>(result);

  AttrChain package;
  package.Add("xmlns", kOpfNamespace)
      .Add("xmlns:dc", kDublinCoreNamespace)
      .Add("unique-identifier", "bookid111")
      .Add("version", "2.0");
  opfDoc->AddXMLNode(nullptr, "package", package.head());

  opfDoc->AddXMLNode("package", "metadata", nullptr);
  opfDoc->AddXMLNode("metadata", "dc:title", nullptr);
  opfDoc->AddXMLNode("metadata", "dc:creator", nullptr);
  opfDoc->AddXMLNode("metadata", "dc:language", nullptr);
  opfDoc->AddTextToNode("dc:title", EscapeAmpersands(title).c_str());
  opfDoc->AddTextToNode("dc:creator", EscapeAmpersands(author).c_str());
  opfDoc->AddTextToNode("dc:language", "en");

  AttrChain identifier;
  identifier.Add("id", "bookid111");
  opfDoc->AddXMLNode("metadata", "dc:identifier", identifier.head());
  opfDoc->AddTextToNode("dc:identifier", TimeIdentifier().c_str());

  opfDoc->AddXMLNode("package", "manifest", nullptr);
  AttrChain ncxItem;
  ncxItem.Add("id", "ncx").Add("href", "toc.ncx").Add("media-type", "application/x-dtbncx+xml");
  opfDoc->AddXMLNode("manifest", "item", ncxItem.head());

  AttrChain spine;
  spine.Add("toc", "ncx");
  opfDoc->AddXMLNode("package", "spine", spine.head());
  opfDoc->AddXMLNode("package", "guide", nullptr);
  return KAV_OK;
}

int XMLFile::SetOpfLanguage(const char* language) {
  if (opfDoc == nullptr) return KAV_ERR_NO_PAGE;
  return static_cast<int>(opfDoc->AddTextToNode("dc:language", EscapeAmpersands(language).c_str()));
}

std::string XMLFile::OpfText(const char* element) const {
  if (opfDoc == nullptr || opfDoc->Document() == nullptr) return "";
  xmlNode* node = opfDoc->FindNode(xmlDocGetRootElement(opfDoc->Document()), element);
  if (node == nullptr) return "";
  xmlChar* text = xmlNodeGetContent(node);
  std::string title = text != nullptr ? reinterpret_cast<const char*>(text) : "";
  xmlFree(text);
  return title;
}

int XMLFile::SetOpfTitle(const char* title) {
  if (opfDoc == nullptr) return KAV_ERR_NO_PAGE;
  return static_cast<int>(opfDoc->AddTextToNode("dc:title", EscapeAmpersands(title).c_str()));
}

int XMLFile::AddOpfMeta(const char* name, const char* content) {
  if (opfDoc == nullptr) return KAV_ERR_NO_PAGE;
  AttrChain meta;
  meta.Add("name", name).Add("content", "");
  int r = static_cast<int>(opfDoc->AddXMLNode("metadata", "meta", meta.head()));
  if (r != KAV_OK) return r;
  // The content goes in whole: attribute records hold 255 bytes, and a
  // summary says more than that.
  xmlNode* metadata = xmlDocGetRootElement(opfDoc->Document());
  for (metadata = metadata != nullptr ? metadata->children : nullptr; metadata != nullptr;
       metadata = metadata->next) {
    if (xmlStrcmp(metadata->name, BAD_CAST "metadata") == 0) break;
  }
  xmlNode* added = metadata != nullptr ? xmlGetLastChild(metadata) : nullptr;
  if (added == nullptr) return KAV_ERR_NO_ELEMENT;
  xmlSetProp(added, BAD_CAST "content", BAD_CAST(content != nullptr ? content : ""));
  return KAV_OK;
}

int XMLFile::AddCoverToOpf(const char* coverPage, const char* coverImage) {
  // Without a package document there is nothing to add to.
  if (opfDoc == nullptr) return KAV_OK;

  AttrChain meta;
  meta.Add("name", "cover").Add("content", "cover-image");
  opfDoc->AddXMLNode("metadata", "meta", meta.head());

  // Its image and page go into the manifest, and the page into the spine,
  // among the records, in the order they come.
  for (const char* name : {coverImage, coverPage}) {
    manifestItems.push_back(ManifestItem{name == coverImage ? kCoverImage : kCoverPage,
                                         static_cast<unsigned int>(coverNames.size())});
    coverNames.push_back(name != nullptr ? name : "");
  }

  AttrChain reference;
  reference.Add("href", coverPage).Add("type", "cover").Add("title", "Cover");
  opfDoc->AddXMLNode("guide", "reference", reference.head());
  return KAV_OK;
}

int XMLFile::AddRecordToOpf(const char* fileName) {
  if (opfDoc == nullptr) return KAV_OK;

  // The number is used up before anything is checked, so identifiers may
  // have gaps (a repeated name still consumes one).
  const int number = recordCount++;
  if (fileName == nullptr) return KAV_OK;

  const std::size_t hash = std::hash<std::string_view>{}(fileName);
  if (!opfRecordHashes.insert(hash).second) {
    for (auto it = opfRecords.rbegin(); it != opfRecords.rend(); ++it) {
      if (std::strcmp(it->c_str(), fileName) == 0) return KAV_OK;
    }
  }
  opfRecords.push_back(fileName);

  // A name without an extension is remembered but not listed.
  if (std::strchr(fileName, '.') == nullptr) return KAV_OK;
  manifestItems.push_back(ManifestItem{number, static_cast<unsigned int>(opfRecords.size() - 1)});
  return KAV_OK;
}

int XMLFile::SaveOpfFile(const char* path) {
  if (opfDoc == nullptr) return KAV_ERR_NO_PAGE;
  auto describe = [this](std::size_t i) {
    const ManifestItem& item = manifestItems[i];
    return DescribeItem(item.number,
                        item.number < 0 ? coverNames[item.name] : opfRecords[item.name]);
  };
  std::vector<std::size_t> spine;  // the manifest items that are read in order
  for (std::size_t i = 0; i < manifestItems.size(); ++i) {
    if (describe(i).inSpine) spine.push_back(i);
  }
  const std::vector<RecordRun> runs = {
      {"manifest", manifestItems.size(),
       [&describe](XMLBase& doc, std::size_t i) { AddItem(doc, describe(i)); }},
      {"spine", spine.size(),
       [&describe, &spine](XMLBase& doc, std::size_t i) { AddItemref(doc, describe(spine[i])); }}};
  return static_cast<int>(static_cast<RecordDocument*>(opfDoc)->SaveWithRecords(path, runs));
}
