// Life of the document and the operations the document builders write with.
#include "xml/xml_base.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <unordered_set>
#include <vector>

#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"
#include "xml/id_index.h"
#include "xml/libxml_quiet.h"
#include "xml/well_formed.h"
#include "xml/xml_string.h"

namespace {

const char kXhtml11PublicId[] = "-//W3C//DTD XHTML 1.1//EN";
const char kXhtml11SystemId[] = "http://www.w3.org/TR/xhtml11/DTD/xhtml11.dtd";

// Releases a document the way every owner here does: the name field is
// malloc'ed by whoever set it, so it is freed with free() before libxml2
// frees the rest.
void ReleaseDocument(xmlDoc* doc) {
  if (doc->name != nullptr) {
    free(doc->name);
    doc->name = nullptr;
  }
  xmlFreeDoc(doc);
}

}  // namespace

XMLBase::XMLBase()
    : doc(nullptr),
      root(nullptr),
      currentAttr(nullptr),
      repairState(nullptr),
      inBody(0),
      lastFound(nullptr) {
  resourceDir = "";
  baseDir = "";
  idList = "|";
  externSources.clear();
  anchorLinks.clear();
  idOwners.clear();
  idIndex = std::make_unique<kav_xml::IdIndex>();
}

XMLBase::~XMLBase() {
  if (doc != nullptr) ReleaseDocument(doc);
}

void XMLBase::Destroy() {
  // doc deliberately keeps pointing at the freed document (see the header).
  if (doc != nullptr) ReleaseDocument(doc);
}

namespace {

// A second Init or InitForOpf replaces the document instead of leaking it;
// the nodes of the old one are no longer reachable.
void ReleaseFormerDocument(xmlDoc*& doc, xmlNode*& root, xmlNode*& lastFound) {
  if (doc == nullptr) return;
  ReleaseDocument(doc);
  doc = nullptr;
  root = nullptr;
  lastFound = nullptr;
}

}  // namespace

unsigned int XMLBase::Init() {
  ReleaseFormerDocument(doc, root, lastFound);
  ForgetSearches();
  kav_xml::XmlString version("1.0");
  doc = xmlNewDoc(version.get());
  if (doc == nullptr) return KAV_ERR_XML_CREATE;
  kav_xml::XmlString name("html");
  kav_xml::XmlString publicId(kXhtml11PublicId);
  kav_xml::XmlString systemId(kXhtml11SystemId);
  xmlCreateIntSubset(doc, name.get(), publicId.get(), systemId.get());
  return KAV_OK;
}

unsigned int XMLBase::InitForOpf() {
  ReleaseFormerDocument(doc, root, lastFound);
  ForgetSearches();
  kav_xml::XmlString version("1.0");
  doc = xmlNewDoc(version.get());
  if (doc == nullptr) return KAV_ERR_XML_CREATE;
  return KAV_OK;
}

namespace {

// A path with an occurrence index anywhere needs the first-match search;
// every other path names the newest element of its kind.
xmlNode* FindByLookupRule(XMLBase& base, xmlNode* root, const char* path) {
  if (std::strchr(path, '-') != nullptr) return base.FindNode(root, path);
  return base.FindLastNode(root, path);
}

}  // namespace

unsigned int XMLBase::AddXMLNode(const char* parentPath, const char* name, XMLAttrInfo* attrs) {
  if (KavIsStrNullOrEmpty(name)) return KAV_ERR_ARGUMENT;
  kav_xml::XmlString elementName(name);
  xmlNode* element = nullptr;
  if (parentPath != nullptr) {
    xmlNode* parent = FindByLookupRule(*this, root, parentPath);
    if (parent == nullptr) return KAV_ERR_NO_ELEMENT;
    element = xmlNewNode(nullptr, elementName.get());
    xmlAddChild(parent, element);
    rootSearches.erase(name);
  } else {
    // Without a document the new root could never be attached, and nothing
    // would free it.
    if (doc == nullptr) return KAV_ERR_NO_DOCUMENT;
    root = xmlNewNode(nullptr, elementName.get());
    if (root == nullptr) return KAV_ERR_XML_CREATE;
    // A second root replaces the first, which is freed here; the node found
    // last may lie in it, so path searches start afresh.
    lastFound = nullptr;
    ForgetSearches();
    xmlNode* former = xmlDocSetRootElement(doc, root);
    if (former != nullptr) xmlFreeNode(former);
    element = root;
  }
  if (attrs == nullptr) return KAV_OK;
  for (XMLAttrInfo* attr = attrs; attr != nullptr; attr = attr->next) {
    kav_xml::XmlString attrName(attr->name);
    kav_xml::XmlString attrValue(attr->value);
    xmlNewProp(element, attrName.get(), attrValue.get());
  }
  return KAV_OK;
}

unsigned int XMLBase::AddTextToNode(const char* path, const char* text) {
  if (KavIsStrNullOrEmpty(path)) return KAV_ERR_ARGUMENT;
  xmlNode* node = FindByLookupRule(*this, root, path);
  if (node == nullptr) return KAV_ERR_NO_ELEMENT;
  kav_xml::XmlString content(text);
  // libxml2 reports malformed character references in the text on stderr.
  kav_xml::QuietLibxml quiet;
  // The former children go, and with them any answer that lies among them.
  ForgetFoundBelow(node);
  ForgetSearches();
  xmlNodeSetContent(node, content.get());
  return KAV_OK;
}

unsigned int XMLBase::SetNodeAttribute(const char* path, const char* name, const char* value) {
  if (KavIsStrNullOrEmpty(path)) return KAV_ERR_ARGUMENT;
  xmlNode* node = FindByLookupRule(*this, root, path);
  if (node == nullptr) return KAV_ERR_NO_ELEMENT;
  kav_xml::XmlString attrName(name);
  kav_xml::XmlString attrValue(value);
  xmlSetProp(node, attrName.get(), attrValue.get());
  return KAV_OK;
}

unsigned int XMLBase::SaveFile(const char* fileName) {
  if (KavIsStrNullOrEmpty(fileName)) return KAV_ERR_ARGUMENT;
  if (doc == nullptr) return KAV_ERR_NO_DOCUMENT;
  kav_xml::XmlString path(fileName);
  kav_xml::XmlString encoding("UTF-8");
  std::vector<const xmlNode*> removed;
  kav_xml::MakeWellFormed(doc, &removed);
  if (!removed.empty()) {
    // Dissolved elements must not be found again through a remembered answer.
    ForgetSearches();
    lastFound = nullptr;
    const std::unordered_set<const xmlNode*> gone(removed.begin(), removed.end());
    anchorLinks.erase(
        std::remove_if(anchorLinks.begin(), anchorLinks.end(),
                       [&gone](const xmlNode* node) { return gone.count(node) != 0; }),
        anchorLinks.end());
  }
  kav_xml::QuietLibxml quiet;
  if (xmlSaveFileEnc(path.c_str(), doc, encoding.c_str()) == -1) return KAV_ERR_XML_SAVE;
  return KAV_OK;
}

namespace {

void IgnoreXPathError(void*, xmlError*) {}

}  // namespace

xmlXPathObject* XMLBase::GetNodeSet(xmlDoc* doc, const xmlChar* xpath) {
  // A null expression has nothing to match; libxml2 would read through it.
  if (doc == nullptr || xpath == nullptr) return nullptr;
  xmlXPathContext* context = xmlXPathNewContext(doc);
  if (context == nullptr) return nullptr;
  // A malformed expression is simply no match: its report goes nowhere.
  context->error = IgnoreXPathError;
  xmlXPathObject* result = xmlXPathEvalExpression(xpath, context);
  xmlXPathFreeContext(context);
  if (result == nullptr) return nullptr;
  xmlNodeSet* nodes = result->nodesetval;
  if (nodes == nullptr || nodes->nodeNr == 0 || nodes->nodeTab == nullptr) {
    xmlXPathFreeObject(result);
    return nullptr;
  }
  return result;
}

xmlNode* XMLBase::GenerateHeadNode(const char* title) {
  kav_xml::XmlString headName("head");
  xmlNode* head = xmlNewNode(nullptr, headName.get());
  if (head == nullptr) return nullptr;

  kav_xml::XmlString titleName("title");
  xmlNode* titleNode = xmlNewNode(nullptr, titleName.get());
  xmlAddChild(head, titleNode);
  if (titleNode != nullptr) {
    kav_xml::XmlString titleText(title);
    kav_xml::QuietLibxml quiet;
    xmlNodeSetContent(titleNode, titleText.get());
  }

  kav_xml::XmlString linkName("link");
  xmlNode* link = xmlNewNode(nullptr, linkName.get());
  xmlAddChild(head, link);
  if (link != nullptr) {
    const char* const attributes[][2] = {
        {"rel", "stylesheet"}, {"type", "text/css"}, {"href", "main.css"}};
    for (const auto& attribute : attributes) {
      kav_xml::XmlString name(attribute[0]);
      kav_xml::XmlString value(attribute[1]);
      xmlNewProp(link, name.get(), value.get());
    }
  }
  return head;
}

unsigned int XMLBase::DelCommentNode(xmlNode* first) {
  if (first == nullptr) return KAV_ERR_NO_ELEMENT;
  ForgetSearches();
  xmlNode* next = nullptr;
  for (xmlNode* node = first; node != nullptr; node = next) {
    next = node->next;
    if (node->type == XML_CDATA_SECTION_NODE) {
      if (node == lastFound) lastFound = nullptr;
      xmlUnlinkNode(node);
      xmlFreeNode(node);
    } else if (xmlStrEqual(node->name, BAD_CAST "comment")) {
      // An element that happens to be called "comment" keeps its whole
      // subtree.
      if (node->type == XML_COMMENT_NODE) {
        if (node == lastFound) lastFound = nullptr;
        xmlUnlinkNode(node);
        xmlFreeNode(node);
      }
    } else if (node->children != nullptr && node->type != XML_ENTITY_REF_NODE) {
      // The children of an entity reference are the shared declaration, not
      // part of this tree.
      unsigned int code = DelCommentNode(node->children);
      if (code != KAV_OK) return code;
    }
  }
  return KAV_OK;
}

unsigned int XMLBase::DelNode(xmlNode* node) {
  if (node == nullptr) return KAV_OK;
  ForgetSearches();
  // The node found last must not outlive the subtree it belongs to.
  for (xmlNode* up = lastFound; up != nullptr; up = up->parent) {
    if (up == node) {
      lastFound = nullptr;
      break;
    }
  }
  if (node == root) root = nullptr;
  xmlUnlinkNode(node);
  xmlFreeNode(node);
  return KAV_OK;
}
