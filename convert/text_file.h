#ifndef KAV_EPUB_CONVERT_TEXT_FILE_H_
#define KAV_EPUB_CONVERT_TEXT_FILE_H_

#include <stdio.h>

namespace kav_convert {

// Opens a text file for reading ("r"), or returns null. Pipes, sockets and
// devices do not open: the text is read twice (to count pages, then to
// convert), which they cannot give; opening a FIFO would wait for a writer
// forever, and a device such as /dev/zero never ends.
FILE* OpenTextFile(const char* path);

}  // namespace kav_convert

#endif  // KAV_EPUB_CONVERT_TEXT_FILE_H_
