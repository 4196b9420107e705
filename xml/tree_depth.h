// Bounding how deep a parsed tree may nest before it is copied and walked.
#ifndef KAV_EPUB_XML_TREE_DEPTH_H_
#define KAV_EPUB_XML_TREE_DEPTH_H_

#include <libxml/tree.h>

namespace kav_xml {

// Levels below root that a tree may keep; deeper content is dropped. Both
// libxml2's node copy and the repair walk recurse once per level, so this
// bounds their stack use.
constexpr int kMaxTreeDepth = 512;

// Frees the children of every node that lies maxDepth levels below root
// (root's children are level 1). Works without recursion, so any depth is
// safe. Returns the number of nodes whose children were dropped.
int PruneBelowDepth(xmlNode* root, int maxDepth);

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_TREE_DEPTH_H_
