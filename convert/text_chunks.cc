#include "convert/text_chunks.h"

#include <string.h>

namespace kav_convert {

int TextChunks::TornTail(const char* text, int length) {
  // Step back over up to three continuation bytes to the character's lead.
  int start = length;
  while (start > 0 && length - start < 3 &&
         (static_cast<unsigned char>(text[start - 1]) & 0xC0) == 0x80) {
    --start;
  }
  if (start == 0) return 0;
  const unsigned char lead = static_cast<unsigned char>(text[start - 1]);
  int size = 0;
  if (lead >= 0xC2 && lead <= 0xDF) size = 2;
  if (lead >= 0xE0 && lead <= 0xEF) size = 3;
  if (lead >= 0xF0 && lead <= 0xF4) size = 4;
  const int have = length - start + 1;
  return have < size ? have : 0;
}

bool TextChunks::Next(bool lastOnPage) {
  memset(buffer_, 0, sizeof(buffer_));
  memcpy(buffer_, carried_, static_cast<size_t>(carriedLength_));
  char* chunk = buffer_ + carriedLength_;
  if (fgets(chunk, kLineReadLimit, file_) == nullptr) return false;
  carriedLength_ = 0;
  if (!lastOnPage) return true;
  const int length = static_cast<int>(strlen(buffer_));
  if (length == 0 || buffer_[length - 1] == '\n') return true;
  const int torn = TornTail(buffer_, length);
  if (torn == 0) return true;
  // Only a character that the file goes on with is handed on: at the end of
  // the file the bytes stay where they are.
  const int next = fgetc(file_);
  if (next == EOF) return true;
  ungetc(next, file_);
  carriedLength_ = torn;
  memcpy(carried_, buffer_ + length - torn, static_cast<size_t>(torn));
  memset(buffer_ + length - torn, 0, static_cast<size_t>(torn));
  return true;
}

}  // namespace kav_convert
