// Small node edits shared by the XHTML repair walk and the HTML clean-up.
// They look only at a node's own attribute list, never at DTD defaults, and
// accept nodes without names or attributes.
#ifndef KAV_EPUB_XML_REPAIR_NODES_H_
#define KAV_EPUB_XML_REPAIR_NODES_H_

#include <libxml/tree.h>

#include <string>
#include <string_view>
#include <vector>

namespace kav_xml {

// The node's name, or "" when it has none. The view lives as long as the
// name does: renaming the node ends it.
inline std::string_view NodeName(const xmlNode* node) {
  if (node == nullptr || node->name == nullptr) return std::string_view();
  return reinterpret_cast<const char*>(node->name);
}

// The first attribute of node named name (in any namespace), or null.
xmlAttr* FindAttr(const xmlNode* node, const char* name);
// The text value of attr, entity references resolved.
std::string AttrValue(const xmlAttr* attr);
// The same value without a copy where the attribute holds a single text
// node (the view then lives as long as the attribute); otherwise the value
// is built in *storage and the view shows that.
std::string_view AttrText(const xmlAttr* attr, std::string* storage);
// The value of node's attribute name; false when there is none.
bool GetAttrValue(const xmlNode* node, const char* name, std::string* value);
// Removes node's first attribute named name, if any.
void RemoveAttr(xmlNode* node, const char* name);
// Whether attr is one of node's attributes right now.
bool IsAttrOf(const xmlNode* node, const xmlAttr* attr);

void RenameNode(xmlNode* node, const char* name);
// Frees every attribute of an element.
void ReleaseAttributes(xmlNode* node);
// Turns an element into plain marked text: no attributes, named span, blue.
void Neutralise(xmlNode* node);
// Empties an element. The children are taken out of the tree at once but
// only queued in pending for freeing: the walk may be inside one of them,
// and the registries may already point at them.
void ClearContent(xmlNode* node, std::vector<xmlNode*>& pending);

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_REPAIR_NODES_H_
