#include "xml/tree_depth.h"

namespace kav_xml {

int PruneBelowDepth(xmlNode* root, int maxDepth) {
  if (root == nullptr || maxDepth < 0) return 0;
  int pruned = 0;
  int depth = 0;
  xmlNode* node = root;
  while (node != nullptr) {
    // The children of an entity reference belong to its declaration.
    bool hasChildren = node->children != nullptr && node->type != XML_ENTITY_REF_NODE;
    if (hasChildren && depth >= maxDepth) {
      xmlNode* children = node->children;
      node->children = nullptr;
      node->last = nullptr;
      xmlFreeNodeList(children);  // iterative in libxml2
      ++pruned;
      hasChildren = false;
    }
    if (hasChildren) {
      node = node->children;
      ++depth;
      continue;
    }
    while (node != root && node->next == nullptr && node->parent != nullptr) {
      node = node->parent;
      --depth;
    }
    if (node == root || node->next == nullptr) break;
    node = node->next;
  }
  return pruned;
}

}  // namespace kav_xml
