#ifndef KAV_EPUB_BUILDER_BOOK_PATHS_H_
#define KAV_EPUB_BUILDER_BOOK_PATHS_H_

#include <string>

// Names shared by the builder's operations. Internal to the builder.
namespace kav_builder {

// "page-" + number + ".html", the file name of every numbered page.
std::string PageFileName(int pageNum);

// The part of path after its last "/", or failing that after its last "\",
// or the whole path. A null path gives "".
std::string BaseName(const char* path);

}  // namespace kav_builder

#endif  // KAV_EPUB_BUILDER_BOOK_PATHS_H_
