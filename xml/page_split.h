// Cutting one cleaned XHTML page into several smaller ones: between block
// elements only, each page a whole document with the page's head, the
// elements that a cut passes through closed at the end of one page and
// reopened on the next, and fragment links pointing at the page that holds
// their target. Internal to the library.
#ifndef KAV_EPUB_XML_PAGE_SPLIT_H_
#define KAV_EPUB_XML_PAGE_SPLIT_H_

#include <libxml/tree.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace kav_xml {

// While one is alive, the HTML clean-ups of its thread keep the page-break
// markers of MOBI books (mbp:pagebreak, which libxml2's HTML parser names
// "pagebreak") as spans without attributes, as they keep any unknown inline
// element, and list them here. Without one they are not listed.
class BreakMarkers {
 public:
  BreakMarkers();
  ~BreakMarkers();
  BreakMarkers(const BreakMarkers&) = delete;
  BreakMarkers& operator=(const BreakMarkers&) = delete;

  // The list of this thread, or null.
  static BreakMarkers* Current();
  // Whether an element named so (as the HTML parser names it) is a marker.
  static bool IsMarkerName(std::string_view name);

  void Note(xmlNode* marker) { nodes_.push_back(marker); }
  // Forgets the markers that left the document.
  void Forget(const std::unordered_set<xmlNode*>& gone);
  const std::vector<xmlNode*>& nodes() const { return nodes_; }

 private:
  std::vector<xmlNode*> nodes_;
  BreakMarkers* previous_;
};

struct PageSplitInput {
  // Removed from the page; a new page starts where each stood.
  std::vector<xmlNode*> markers;
  // A new page starts at the block that holds the element of each id.
  std::unordered_set<std::string> breakIds;
  // No saved page is larger, but for a page of one block that cannot be cut.
  size_t maxPageBytes = 256 * 1024;
};

// Writes page number index (from 0) of the split, held by doc for the
// length of the call. A nonzero result stops the split and is returned.
using PageSink = std::function<int(size_t index, xmlDoc* doc)>;

// Splits the body of doc, a cleaned page (html with head and body), into
// pages and hands them to sink in reading order. fileName(i) is the name
// page i is stored under: fragment links ("#id", or the first page's name
// + "#id") are rewritten to name the page that holds their id, and page i
// > 0 gets its name without the extension as its title. The pages are
// well-formed (the whole is made so first). *pageOfId receives
// the page index of every id; *pages the number of pages (at least one).
// The body is used up: doc keeps an empty one.
int SplitPage(xmlDoc* doc, const PageSplitInput& input,
              const std::function<std::string(size_t)>& fileName, const PageSink& sink,
              std::unordered_map<std::string, size_t>* pageOfId, size_t* pages);

// Saves a well-formed page document (as SplitPage hands them out) as
// XMLBase::SaveFile does: in UTF-8, libxml2 silent. 413 when it cannot be
// written.
int SaveXhtmlDocument(xmlDoc* doc, const char* path);

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_PAGE_SPLIT_H_
