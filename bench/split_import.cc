// Imports one HTML page into a book as one page or split into pages of at
// most 256 KB, and packs the book, so that the split can be timed against
// the import it extends. Usage: split_import whole|split PAGE.html WORK_DIR OUT.epub
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "builder/epub_base.h"

int main(int argc, char** argv) {
  if (argc != 5 || (std::strcmp(argv[1], "whole") != 0 && std::strcmp(argv[1], "split") != 0)) {
    fprintf(stderr, "usage: split_import whole|split PAGE.html WORK_DIR OUT.epub\n");
    return 2;
  }
  EpubBase book;
  int code = book.Init(argv[3], "Bench", "Bench");
  if (code == 0 && std::strcmp(argv[1], "whole") == 0) {
    code = book.AddHTHLToEpub(argv[2]);
  } else if (code == 0) {
    std::unordered_map<std::string, std::string> pageOfId;
    code = book.AddSplitHtmlToEpub(argv[2], {}, 256 * 1024, true, &pageOfId);
  }
  if (code == 0) code = book.GenerateEpub(argv[4]);
  book.ClearData();
  if (code != 0) fprintf(stderr, "split_import: code %d\n", code);
  return code == 0 ? 0 : 1;
}
