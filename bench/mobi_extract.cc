// Writes a MOBI book's HTML and pictures into a directory through
// libKav_Mobi, so that benchmarks can feed the same HTML to the import at
// several sizes. Usage: mobi_extract BOOK.mobi OUT_DIR
#include <cstdio>
#include <string>

#include "platform/mobi/kav_mobi.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: mobi_extract BOOK.mobi OUT_DIR\n");
    return 2;
  }
  TMobiService* reader = CreateMobiService();
  if (reader == nullptr) return 1;
  int code = reader->Open(reader->handle, argv[1]);
  if (code == 0) code = reader->ExtractHtml(reader->handle, (std::string(argv[2]) + "/book.html").c_str());
  reader->Close(reader->handle);
  FreeMobiService(reader);
  if (code != 0) fprintf(stderr, "mobi_extract: code %d\n", code);
  return code == 0 ? 0 : 1;
}
