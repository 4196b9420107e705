#ifndef KAV_EPUB_CONVERT_TEXT_LINES_H_
#define KAV_EPUB_CONVERT_TEXT_LINES_H_

namespace kav_convert {

// One "line" of a text file is one fgets chunk: at most 254 bytes and the
// terminator, read into a zeroed 256-byte buffer.
constexpr int kLineBufferSize = 256;
constexpr int kLineReadLimit = 255;
constexpr int kLinesPerPage = 60;

}  // namespace kav_convert

#endif  // KAV_EPUB_CONVERT_TEXT_LINES_H_
