#ifndef KAV_EPUB_PLATFORM_MOBI_BOOK_TOC_H_
#define KAV_EPUB_PLATFORM_MOBI_BOOK_TOC_H_

#include <mobi.h>
#include <stdint.h>

#include <string>
#include <string_view>
#include <vector>

namespace kavmobi {

class Kf8Links;

// One entry of a book's table of contents: its text, the id of the element
// at its place in the extracted HTML, and its depth (1 at the top).
struct TocEntry {
  std::string label;
  std::string anchor;
  int depth;
};

struct BookToc {
  std::vector<TocEntry> entries;  // in reading order
  // Entries of the book's own table that were left out (their place is not
  // in the text) or moved to the top level (a parent that is the entry
  // itself, a later entry or none), and labels that could not be read.
  size_t flawed = 0;
};

// Deeper entries are kept at this depth, under the last entry above it.
constexpr int kMaxTocDepth = 8;

// The NCX index of a parsed book, in reading order: each entry of a MOBI 6
// book goes to the first "filepos" anchor at or after its text position in
// html (libmobi gives every entry's position one when it reads the index),
// each KF8 entry to the place links resolves for its fragment and offset.
BookToc NcxToc(const MOBIRawml& rawml, const Kf8Links* links, std::string_view html);

// For a book without a table of its own: its h1-h3 headings, nested by
// level, each given an id where it has none; failing those, the start of
// the text and each <mbp:pagebreak>, labelled by number, each followed by
// an anchor. html is changed accordingly; nothing found gives no entries.
BookToc MadeToc(std::string* html);

// A CNCX string (forward-encoded length, then the text) at offset, as UTF-8;
// false when it is not there.
bool CncxText(const MOBIIndx& index, uint32_t offset, std::string* text);

// The bytes of the CNCX string at offset inside one CNCX record; false
// when its length or its bytes are not all inside the record.
bool CncxBytes(const MOBIPdbRecord& record, size_t offset, std::string_view* bytes);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_BOOK_TOC_H_
