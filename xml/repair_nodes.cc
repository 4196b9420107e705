#include "xml/repair_nodes.h"

#include "xml/walk_index.h"
#include "xml/xml_string.h"

namespace kav_xml {

namespace {

const char kMarkerStyle[] = "color:#0000ff;";

}  // namespace

xmlAttr* FindAttr(const xmlNode* node, const char* name) {
  if (node == nullptr || node->type != XML_ELEMENT_NODE || name == nullptr) return nullptr;
  for (xmlAttr* attr = node->properties; attr != nullptr; attr = attr->next) {
    if (xmlStrEqual(attr->name, BAD_CAST name)) return attr;
  }
  return nullptr;
}

std::string AttrValue(const xmlAttr* attr) {
  if (attr == nullptr || attr->children == nullptr) return std::string();
  xmlChar* text = xmlNodeListGetString(attr->doc, attr->children, 1);
  if (text == nullptr) return std::string();
  std::string value(reinterpret_cast<const char*>(text));
  xmlFree(text);
  return value;
}

std::string_view AttrText(const xmlAttr* attr, std::string* storage) {
  const xmlNode* text = attr != nullptr ? attr->children : nullptr;
  // A lone text node is the whole value, as xmlNodeListGetString would give
  // it; entity references and other mixes take the general way.
  if (text != nullptr && text->type == XML_TEXT_NODE && text->next == nullptr) {
    return text->content != nullptr ? reinterpret_cast<const char*>(text->content) : "";
  }
  *storage = AttrValue(attr);
  return *storage;
}

bool GetAttrValue(const xmlNode* node, const char* name, std::string* value) {
  const xmlAttr* attr = FindAttr(node, name);
  if (attr == nullptr) return false;
  *value = AttrValue(attr);
  return true;
}

void RemoveAttr(xmlNode* node, const char* name) {
  xmlAttr* attr = FindAttr(node, name);
  if (attr != nullptr) xmlRemoveProp(attr);
}

bool IsAttrOf(const xmlNode* node, const xmlAttr* attr) {
  if (node == nullptr || node->type != XML_ELEMENT_NODE || attr == nullptr) return false;
  for (const xmlAttr* own = node->properties; own != nullptr; own = own->next) {
    if (own == attr) return true;
  }
  return false;
}

void RenameNode(xmlNode* node, const char* name) {
  if (node == nullptr) return;
  XmlString newName(name);
  xmlNodeSetName(node, newName.get());
  if (WalkIndex* index = CurrentWalkIndex()) index->Renamed(node);
}

void ReleaseAttributes(xmlNode* node) {
  // Only elements carry an attribute list; other node kinds may not even
  // have the field.
  if (node == nullptr || node->type != XML_ELEMENT_NODE || node->properties == nullptr) return;
  xmlFreePropList(node->properties);
  node->properties = nullptr;
}

void Neutralise(xmlNode* node) {
  if (node == nullptr || node->type != XML_ELEMENT_NODE) return;
  ReleaseAttributes(node);
  RenameNode(node, "span");
  XmlString style("style");
  XmlString value(kMarkerStyle);
  xmlNewProp(node, style.get(), value.get());
}

void ClearContent(xmlNode* node, std::vector<xmlNode*>& pending) {
  if (node == nullptr || node->type != XML_ELEMENT_NODE) return;
  while (node->children != nullptr) {
    xmlNode* child = node->children;
    xmlUnlinkNode(child);
    // A child whose parent link is broken would stay in place forever.
    if (node->children == child) break;
    pending.push_back(child);
  }
  if (WalkIndex* index = CurrentWalkIndex()) index->Emptied(node);
}

}  // namespace kav_xml
