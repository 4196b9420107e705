#ifndef KAV_EPUB_PLATFORM_MOBI_SALVAGED_BOOK_H_
#define KAV_EPUB_PLATFORM_MOBI_SALVAGED_BOOK_H_

#include <mobi.h>

#include <string>
#include <string_view>
#include <vector>

namespace kavmobi {

// What is left of a book whose structure libmobi cannot rebuild (a damaged
// skeleton, fragment or navigation index, flows or text records that do not
// fit): the text records read in their order, made one HTML document, and
// the pictures.
struct SalvagedBook {
  SalvagedBook() = default;
  SalvagedBook(const SalvagedBook&) = delete;  // the pictures link to each other
  SalvagedBook& operator=(const SalvagedBook&) = delete;

  std::string html;
  std::vector<MOBIPart> pictures;  // linked through next, data in the loaded book
};

// Fills book from the loaded m; false when its text records hold no
// readable text.
bool SalvageBook(const MOBIData& m, SalvagedBook* book);

// MOBI 6 pictures are named by record: recindex="00004" becomes the src of
// the picture with uid 3 when the book has it.
std::string WithPictureSources(std::string_view html, const MOBIPart* pictures);

// text with every byte that is not part of UTF-8 replaced by U+FFFD and the
// control characters other than tab and line ends (NUL included) dropped.
std::string ValidUtf8(std::string_view text);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_SALVAGED_BOOK_H_
