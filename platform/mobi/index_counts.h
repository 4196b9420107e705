#ifndef KAV_EPUB_PLATFORM_MOBI_INDEX_COUNTS_H_
#define KAV_EPUB_PLATFORM_MOBI_INDEX_COUNTS_H_

#include <mobi.h>

namespace kavmobi {

// libmobi sizes an index's entry table by the total its first record
// declares, before it reads a single entry: a damaged total asks for
// gigabytes from a few bytes of book. Whether the indexes that libmobi reads
// for the text (a KF8 book's skeleton and fragments) and for the
// table of contents (a KF8 book's guide, and the NCX) declare no more
// entries than their records list and hold. An index the book does not have
// fits.
struct IndexCounts {
  bool textIndexesFit = true;
  bool tocIndexesFit = true;
};

IndexCounts CheckIndexCounts(const MOBIData& m);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_INDEX_COUNTS_H_
