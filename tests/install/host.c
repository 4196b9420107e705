/* A host program as a user of the installed library writes it: one page
   through the C record. Usage: host WORK_DIR BOOK.epub; exit status 0 when
   the book was made, else 1 with the result code on stderr. */
#include <stdio.h>

#include "service/kav_epub.h"

int main(int argc, char** argv) {
  if (argc != 3) return 1;
  TEpubService* epub = CreateEpubService();
  if (epub == NULL) return 1;
  int rc = epub->InitEpub(epub->data, argv[1], "Installed", "Host");
  rc = rc ? rc : epub->StartPage(epub->data);
  rc = rc ? rc : epub->AddTextLineToPage(epub->data, "Made through the installed library.\n");
  rc = rc ? rc : epub->EndPage(epub->data);
  rc = rc ? rc : epub->GenerateEpub(epub->data, argv[2]);
  epub->ClearUp(epub->data);
  FreeEpubService(epub);
  if (rc != 0) fprintf(stderr, "result code %d\n", rc);
  return rc == 0 ? 0 : 1;
}
