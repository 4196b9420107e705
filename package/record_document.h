#ifndef KAV_EPUB_PACKAGE_RECORD_DOCUMENT_H_
#define KAV_EPUB_PACKAGE_RECORD_DOCUMENT_H_

#include <cstddef>
#include <functional>
#include <vector>

#include "xml/xml_base.h"

// Elements that a book adds one of per page (manifest items, spine entries,
// navigation points) under one parent element of a document.
struct RecordRun {
  const char* parent;  // the parent's name; the records come after its children
  std::size_t count;
  // Adds record `index` to `scratch`, a document whose root element is the
  // parent, with the same calls that would add it to the document itself.
  std::function<void(XMLBase& scratch, std::size_t index)> add;
};

// A document whose per-page records stay out of its tree until it is
// saved: a book of a hundred thousand pages would otherwise hold some
// fifteen libxml2 nodes, attributes and strings per page. Saving writes the
// document's own tree and, at the end of each run's parent, the run's
// records, made a few hundred at a time in a scratch document and written
// by libxml2's serialiser exactly as they would be inside the tree.
class RecordDocument : public XMLBase {
 public:
  // As SaveFile, with the runs' records (their parents must exist).
  unsigned int SaveWithRecords(const char* fileName, const std::vector<RecordRun>& runs);
};

#endif  // KAV_EPUB_PACKAGE_RECORD_DOCUMENT_H_
