// Page documents: XHTML pages of paragraphs, images and simple tables, and
// the cover page with its page-filling picture.

#include <libxml/tree.h>

#include <cstring>

#include "package/attr_chain.h"
#include "package/document_text.h"
#include "package/xml_file.h"
#include "service/kav_result.h"
#include "xml/xml_base.h"

namespace {

constexpr char kXhtmlNamespace[] = "http://www.w3.org/1999/xhtml";
constexpr char kSvgNamespace[] = "http://www.w3.org/2000/svg";
constexpr char kXlinkNamespace[] = "http://www.w3.org/1999/xlink";
constexpr unsigned int kSaveFailed = 0xFFFFFFFFu;

const char* TextOrEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

int XMLFile::InitHTML(const char* title) {
  // A second initialisation replaces the page; the old one is freed.
  delete pageDoc;
  pageDoc = new XMLBase();
  unsigned int result = pageDoc->Init();
  if (result != KAV_OK) return static_cast<int>(result);

  AttrChain html;
  html.Add("xmlns", kXhtmlNamespace);
  pageDoc->AddXMLNode(nullptr, "html", html.head());
  pageDoc->AddXMLNode("html", "head", nullptr);
  pageDoc->AddXMLNode("head", "title", nullptr);
  pageDoc->AddTextToNode("title", TextOrEmpty(title));

  // A bare marker for Adobe's reader; it carries no content attribute.
  AttrChain meta;
  meta.Add("name", "Adept.resource");
  pageDoc->AddXMLNode("head", "meta", meta.head());

  AttrChain link;
  link.Add("rel", "stylesheet").Add("type", "text/css").Add("href", "main.css");
  pageDoc->AddXMLNode("head", "link", link.head());
  pageDoc->AddXMLNode("html", "body", nullptr);
  return KAV_OK;
}

int XMLFile::AddTextLineToHtml(const char* text) {
  if (pageDoc == nullptr) return KAV_ERR_NO_PAGE;
  AttrChain paragraph;
  paragraph.Add("class", "text");
  pageDoc->AddXMLNode("body", "p", paragraph.head());
  // The text is taken as it is; escaping is the caller's concern.
  pageDoc->AddTextToNode("p", TextOrEmpty(text));
  return KAV_OK;
}

int XMLFile::AddImageToHtml(const char* src) { return AddImageToHtml(src, nullptr); }

int XMLFile::AddImageToHtml(const char* src, const char* alt) {
  if (pageDoc == nullptr) return KAV_ERR_NO_PAGE;
  AttrChain block;
  block.Add("class", "div1");
  pageDoc->AddXMLNode("body", "div", block.head());
  AttrChain image;
  image.Add("src", src).Add("alt", "").Add("class", "img1");
  pageDoc->AddXMLNode("div", "img", image.head());
  if (alt == nullptr || *alt == '\0') return KAV_OK;
  // Set whole on the picture just added (the last element of the body's
  // last block): attribute records hold 255 bytes.
  xmlNode* html = xmlDocGetRootElement(pageDoc->Document());
  xmlNode* body = html != nullptr ? xmlGetLastChild(html) : nullptr;
  xmlNode* last = body != nullptr ? xmlLastElementChild(body) : nullptr;
  xmlNode* img = last != nullptr ? xmlLastElementChild(last) : nullptr;
  if (img == nullptr || xmlStrcmp(img->name, BAD_CAST "img") != 0) return KAV_ERR_NO_ELEMENT;
  xmlSetProp(img, BAD_CAST "alt", BAD_CAST alt);
  return KAV_OK;
}

int XMLFile::AddImageToXhtml(const char* href) {
  if (pageDoc == nullptr) return KAV_ERR_NO_PAGE;
  pageDoc->AddXMLNode("body", "div", nullptr);
  // " none " keeps its blanks: it is written exactly so.
  AttrChain svg;
  svg.Add("xmlns", kSvgNamespace)
      .Add("xmlns:xlink", kXlinkNamespace)
      .Add("version", "1.1")
      .Add("width", "100%")
      .Add("height", "100%")
      .Add("preserveAspectRatio", " none ");
  pageDoc->AddXMLNode("div", "svg", svg.head());
  AttrChain image;
  image.Add("width", "100%").Add("height", "100%").Add("xlink:href", href);
  pageDoc->AddXMLNode("svg", "image", image.head());
  return KAV_OK;
}

int XMLFile::AddFormToHtml(const char* text, FormOperator op) {
  if (pageDoc == nullptr) return KAV_ERR_NO_PAGE;
  // Parents are the newest table and row, so a cell before any table finds
  // no row and is not added.
  switch (op) {
    case FormTable: {
      AttrChain table;
      table.Add("border", "1").Add("cellpadding", "0").Add("cellspacing", "0");
      pageDoc->AddXMLNode("body", "table", table.head());
      break;
    }
    case FormRow:
      pageDoc->AddXMLNode("table", "tr", nullptr);
      break;
    case FormCell:
      pageDoc->AddXMLNode("tr", "td", nullptr);
      pageDoc->AddTextToNode("td", TextOrEmpty(text));
      break;
    default:
      // Other values are not table steps and change nothing.
      break;
  }
  return KAV_OK;
}

unsigned int XMLFile::SaveHtml(const char* path) {
  // Every failure reads the same here, unlike the other documents' saves.
  if (pageDoc == nullptr) return kSaveFailed;
  if (pageDoc->SaveFile(path) != KAV_OK) return kSaveFailed;
  return KAV_OK;
}

namespace {

// The first element child of node, or null.
xmlNode* FirstElement(xmlNode* node) {
  for (xmlNode* child = node != nullptr ? node->children : nullptr; child != nullptr;
       child = child->next) {
    if (child->type == XML_ELEMENT_NODE) return child;
  }
  return nullptr;
}

bool NameIs(const xmlNode* node, const char* name) {
  return node != nullptr && std::strcmp(reinterpret_cast<const char*>(node->name), name) == 0;
}

}  // namespace

int XMLFile::SetHtmlHeading(const char* text) {
  if (pageDoc == nullptr || pageDoc->Document() == nullptr) return KAV_ERR_NO_PAGE;
  xmlNode* html = xmlDocGetRootElement(pageDoc->Document());
  xmlNode* body = nullptr;
  for (xmlNode* child = html != nullptr ? html->children : nullptr; child != nullptr;
       child = child->next) {
    if (NameIs(child, "body")) body = child;
  }
  if (body == nullptr) return KAV_ERR_NO_ELEMENT;
  xmlNode* heading = FirstElement(body);
  if (!NameIs(heading, "h2")) {
    heading = xmlNewDocNode(pageDoc->Document(), nullptr, BAD_CAST "h2", nullptr);
    if (heading == nullptr) return KAV_ERR_XML_CREATE;
    xmlNode* first = body->children;
    if (first != nullptr) {
      xmlAddPrevSibling(first, heading);
    } else {
      xmlAddChild(body, heading);
    }
  }
  // Set as the other texts are, so an ampersand is written once.
  xmlNodeSetContent(heading, BAD_CAST EscapeAmpersands(text).c_str());
  return KAV_OK;
}

int XMLFile::SetHtmlAccess(const char* language, const char* title) {
  if (pageDoc == nullptr || pageDoc->Document() == nullptr) return KAV_ERR_NO_PAGE;
  xmlNode* html = xmlDocGetRootElement(pageDoc->Document());
  if (html == nullptr) return KAV_ERR_NO_ELEMENT;
  xmlNodeSetLang(html, BAD_CAST TextOrEmpty(language));
  xmlSetProp(html, BAD_CAST "lang", BAD_CAST TextOrEmpty(language));
  return static_cast<int>(pageDoc->AddTextToNode("title", EscapeAmpersands(title).c_str()));
}
