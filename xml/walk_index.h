// What the XHTML repair walk remembers about the children of the elements it
// repairs, so that no repair costs more than a constant per node amortised:
//
// - the first child of an element with a given name, which the validity
//   handler looks for once per error ("Element font is not declared in p list
//   of possible children" names the child, never the child's place), found
//   from where the last search of that name stopped;
// - which children of an element break its content model, so that checking
//   the element again after one child was renamed looks at the broken
//   children only, not at all of them.
//
// Every answer is the one a search from the first child would give. The
// index learns of each change the walk makes to the tree (renames, emptied
// elements) through RenameNode and ClearContent; the walk makes no other
// change to an element's list of children.
#ifndef KAV_EPUB_XML_WALK_INDEX_H_
#define KAV_EPUB_XML_WALK_INDEX_H_

#include <libxml/tree.h>
#include <libxml/valid.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace kav_xml {

class WalkIndex {
 public:
  WalkIndex();
  ~WalkIndex();
  WalkIndex(const WalkIndex&) = delete;
  WalkIndex& operator=(const WalkIndex&) = delete;

  // The first child of parent whose name equals name (xmlStrEqual), or null.
  xmlNode* FirstChildNamed(xmlNode* parent, const char* name);

  // Told after node got its new name.
  void Renamed(xmlNode* node);
  // Told after every child of parent was taken out.
  void Emptied(xmlNode* parent);

  // The children of an element whose content model they break, in document
  // order, as xmlValidateOneElement would meet them; false when the element
  // or its children are of a kind this index does not follow (the caller
  // then lets libxml2 validate the element). For elements with element
  // content *contentValid tells whether the children match the model; it is
  // only answered for models of the form (a | b | ...)* and (a | b | ...)+.
  bool BrokenChildren(xmlElement* decl, xmlNode* parent, std::vector<xmlNode*>* broken,
                      bool* contentValid);

  // Hides parent's children from libxml2 while it checks the element's
  // attributes; Reveal puts them back (the validity handler calls it before
  // any repair, so that a repair sees the element as it is).
  void Hide(xmlNode* parent);
  void Reveal();

  // Whether some part of the running walk has already failed validation.
  bool failed = false;
  // Depth of the walk's recursion; the outermost call resets failed.
  int depth = 0;

 private:
  struct Content;
  // Where the last search of a name stopped: at the child found, or, when
  // none was, at the last child looked at.
  struct Cursor {
    std::string name;
    xmlNode* found = nullptr;
    xmlNode* scannedLast = nullptr;
  };

  Content* ContentOf(xmlElement* decl, xmlNode* parent);
  void Update(Content& content, xmlNode* child);

  // The cursors of each element, one per name searched (few per element).
  std::unordered_map<const xmlNode*, std::vector<Cursor>> cursors_;
  std::unordered_map<const xmlNode*, std::unique_ptr<Content>> contents_;
  xmlNode* hidden_ = nullptr;
  xmlNode* hiddenFirst_ = nullptr;
  xmlNode* hiddenLast_ = nullptr;
};

// Tells index of every rename and emptying made through RenameNode and
// ClearContent while it lives (one walk at a time per process).
class WalkIndexScope {
 public:
  explicit WalkIndexScope(WalkIndex* index);
  ~WalkIndexScope();
  WalkIndexScope(const WalkIndexScope&) = delete;
  WalkIndexScope& operator=(const WalkIndexScope&) = delete;

 private:
  WalkIndex* previous_;
};

// The index RenameNode and ClearContent report to, or null.
WalkIndex* CurrentWalkIndex();

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_WALK_INDEX_H_
