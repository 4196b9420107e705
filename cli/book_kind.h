#ifndef KAV_EPUB_CLI_BOOK_KIND_H_
#define KAV_EPUB_CLI_BOOK_KIND_H_

#include <string>

namespace kavcli {

// Whether a file is a MOBI or PalmDOC book by its own header: a Palm
// database whose type and creator, at offset 60, read BOOKMOBI or TEXtREAd.
bool HasMobiHeader(const std::string& path);

// The lower-case extension of a path's last component (".txt"), or "".
std::string Extension(const std::string& path);

// The book made of an input by default: its name with ".epub" in place of
// its extension ("a/b.txt" gives "a/b.epub").
std::string BookName(const std::string& input);

// The command for a file's extension: "txt", "html" or "mobi" (the Palm
// database names .azw, .prc and .pdb included); null for other names.
const char* CommandForExtension(const std::string& path);

// The command that converts a book file by its extension, but for the Palm
// database names, which other programs use too, only when the header is a
// book's. Null for other files.
const char* CommandForBook(const std::string& path);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_BOOK_KIND_H_
