#ifndef KAV_EPUB_PLATFORM_TOOL_ASCII_WORDS_H_
#define KAV_EPUB_PLATFORM_TOOL_ASCII_WORDS_H_

// Passing over plain ASCII eight bytes at a time: most bytes of a book's
// text are, and the scans that check every byte (well-formed UTF-8,
// characters XML allows) need to look closer only at the others.

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

// The offset, from at on, of the first eight-byte word of text that holds a
// byte past ASCII (or, when printable is nonzero, also one below a space),
// or of the last bytes too few to make a word.
static inline size_t KavSkipAsciiWords(const char* text, size_t size, size_t at, int printable) {
  const uint64_t ones = 0x0101010101010101ULL;
  const uint64_t highs = 0x8080808080808080ULL;
  uint64_t word;
  for (; at + sizeof word <= size; at += sizeof word) {
    memcpy(&word, text + at, sizeof word);
    if ((word & highs) != 0) break;
    // A byte below a space borrows when a space is taken from it.
    if (printable && ((word - ones * 0x20) & ~word & highs) != 0) break;
  }
  return at;
}

#ifdef __cplusplus
}
#endif

#endif  // KAV_EPUB_PLATFORM_TOOL_ASCII_WORDS_H_
