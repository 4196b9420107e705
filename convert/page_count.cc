#include <stdio.h>
#include <string.h>

#include "convert/epub_management.h"
#include "convert/text_file.h"
#include "convert/text_lines.h"

int GetPageNumForTXT(const char* txtPath) {
  if (txtPath == nullptr) return 0;
  FILE* file = kav_convert::OpenTextFile(txtPath);
  if (file == nullptr) return 0;

  int lines = 0;
  // The end-of-file test follows each read, so a last line without a line
  // feed still counts.
  while (!feof(file)) {
    char buffer[kav_convert::kLineBufferSize];
    memset(buffer, 0, sizeof(buffer));
    if (fgets(buffer, kav_convert::kLineReadLimit, file) != nullptr) {
      ++lines;
    } else if (ferror(file)) {
      // A stream that cannot be read (a directory, say) never reaches its
      // end; count what was read instead of looping forever.
      break;
    }
  }
  fclose(file);

  int pages = lines / kav_convert::kLinesPerPage;
  if (lines % kav_convert::kLinesPerPage != 0) ++pages;
  return pages;
}
