#ifndef KAV_EPUB_FUZZ_MOBI6_BOOK_H_
#define KAV_EPUB_FUZZ_MOBI6_BOOK_H_

#include <mobi.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace kav_fuzz {

// One NCX entry: a text position, a level, and entry numbers (-1: none).
struct Mobi6NcxEntry {
  uint32_t position = 0;
  uint32_t level = 0;
  int parent = -1, firstChild = -1, lastChild = -1;
};

// A MOBI 6 book (UTF-8, stored text records) of html, its pictures records
// (any bytes: libmobi types them by their magic) after the text, and an NCX
// index when ncx is not empty; the bytes of the whole file.
std::string Mobi6Book(const std::string& html, const std::vector<std::string>& pictures,
                      const std::vector<Mobi6NcxEntry>& ncx);

// "" when the two parsed books have the same markup parts and the same
// resources (libmobi's own rebuild adds its OPF and NCX after them, which
// no reader uses); else what differs.
std::string PartsDifference(const MOBIRawml* a, const MOBIRawml* b);

}  // namespace kav_fuzz

#endif  // KAV_EPUB_FUZZ_MOBI6_BOOK_H_
