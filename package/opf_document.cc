// The package document (content.opf): metadata, manifest, spine and guide.

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include "package/attr_chain.h"
#include "package/document_text.h"
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

}  // namespace

int XMLFile::InitOpfFile(const char* title, const char* author) {
  // A second initialisation replaces the document; the old one is freed.
  delete opfDoc;
  opfDoc = new XMLBase();
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

int XMLFile::AddCoverToOpf(const char* coverPage, const char* coverImage) {
  // Without a package document there is nothing to add to.
  if (opfDoc == nullptr) return KAV_OK;

  AttrChain meta;
  meta.Add("name", "cover").Add("content", "cover-image");
  opfDoc->AddXMLNode("metadata", "meta", meta.head());

  // The cover image is listed as JPEG whatever its format.
  AttrChain imageItem;
  imageItem.Add("id", "cover-image").Add("href", coverImage).Add("media-type", "image/jpeg");
  opfDoc->AddXMLNode("manifest", "item", imageItem.head());

  AttrChain pageItem;
  pageItem.Add("id", "title").Add("href", coverPage).Add("media-type", kXhtmlMediaType);
  opfDoc->AddXMLNode("manifest", "item", pageItem.head());

  AttrChain itemref;
  itemref.Add("idref", "title");
  opfDoc->AddXMLNode("spine", "itemref", itemref.head());

  AttrChain reference;
  reference.Add("href", coverPage).Add("type", "cover").Add("title", "Cover");
  opfDoc->AddXMLNode("guide", "reference", reference.head());
  return KAV_OK;
}

int XMLFile::AddRecordToOpf(const char* fileName) {
  if (opfDoc == nullptr) return KAV_OK;

  // The number is used up before anything is checked, so identifiers may
  // have gaps (a repeated name still consumes one).
  char id[16] = {};
  std::snprintf(id, sizeof(id), "rc_%d", recordCount);
  ++recordCount;
  if (fileName == nullptr) return KAV_OK;

  const std::size_t hash = std::hash<std::string_view>{}(fileName);
  if (!opfRecordHashes.insert(hash).second) {
    for (auto it = opfRecords.rbegin(); it != opfRecords.rend(); ++it) {
      if (std::strcmp(it->c_str(), fileName) == 0) return KAV_OK;
    }
  }
  opfRecords.push_back(fileName);

  // A name without an extension is remembered but not listed.
  const char* dot = std::strrchr(fileName, '.');
  if (dot == nullptr) return KAV_OK;
  const std::string extension = dot + 1;
  const std::string mediaType = MediaTypeFor(extension);

  AttrChain item;
  item.Add("id", id).Add("href", fileName).Add("media-type", mediaType.c_str());
  opfDoc->AddXMLNode("manifest", "item", item.head());

  // Only pages are read in order; images and the style sheet are not.
  if (extension == "html") {
    AttrChain itemref;
    itemref.Add("idref", id);
    opfDoc->AddXMLNode("spine", "itemref", itemref.head());
  }
  return KAV_OK;
}

int XMLFile::SaveOpfFile(const char* path) {
  if (opfDoc == nullptr) return KAV_ERR_NO_PAGE;
  return static_cast<int>(opfDoc->SaveFile(path));
}
