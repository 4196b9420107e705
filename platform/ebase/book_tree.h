#ifndef KAV_EPUB_PLATFORM_EBASE_BOOK_TREE_H_
#define KAV_EPUB_PLATFORM_EBASE_BOOK_TREE_H_

#include <string>
#include <vector>

namespace kav_ebase {

// Collects the regular files below bookDir as "/"-separated paths relative to
// it, sorted by their bytes. Symbolic links are skipped, never followed, so
// nothing outside bookDir gets into a book; so are sockets, FIFOs and devices.
// False when bookDir or a directory below it cannot be read.
bool CollectBookFiles(const std::string& bookDir, std::vector<std::string>* files);

}  // namespace kav_ebase

#endif  // KAV_EPUB_PLATFORM_EBASE_BOOK_TREE_H_
