#ifndef KAV_EPUB_CONVERT_TEXT_CHUNKS_H_
#define KAV_EPUB_CONVERT_TEXT_CHUNKS_H_

#include <stdio.h>

#include "convert/text_lines.h"

namespace kav_convert {

// Reads a text file as the text path feeds it: one fgets chunk (at most 254
// bytes) at a time. A chunk that is the last of its page and ends inside a
// UTF-8 character that the file goes on with gives the character's first
// bytes to the next chunk, so that the character stays whole on the next
// page instead of being torn between two pages. Chunks are neither added nor
// lost: the page count of the file is the same.
class TextChunks {
 public:
  explicit TextChunks(FILE* file) : file_(file) {}

  // Reads the next chunk into text(); false at the end of the file or on a
  // read error (failed() tells which).
  bool Next(bool lastOnPage);
  const char* text() const { return buffer_; }
  bool failed() const { return ferror(file_) != 0; }

  // The number of trailing bytes of text[0, length) that begin a UTF-8
  // character without finishing it: 0 to 3.
  static int TornTail(const char* text, int length);

 private:
  FILE* file_;
  // A chunk, with room ahead of it for up to three bytes handed on.
  char buffer_[kLineBufferSize + 4];
  char carried_[4] = {};
  int carriedLength_ = 0;
};

}  // namespace kav_convert

#endif  // KAV_EPUB_CONVERT_TEXT_CHUNKS_H_
