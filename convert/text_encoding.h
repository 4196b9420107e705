#ifndef KAV_EPUB_CONVERT_TEXT_ENCODING_H_
#define KAV_EPUB_CONVERT_TEXT_ENCODING_H_

#include <cstddef>
#include <string>

#include "convert/progress_callback.h"

namespace kav_convert {

// How much of a text file its encoding is guessed from.
constexpr size_t kEncodingSampleSize = 64 << 10;

// The encoding of a text file guessed from its first bytes, as an iconv
// name, with the length of a byte-order mark found at its start (0 if
// none); empty when there is no telling.
std::string DetectEncoding(const std::string& sample, size_t* bomLength);

// Why a text could not be made UTF-8.
struct TextProblem {
  std::string encoding;  // as named or detected
  long long offset = 0;  // of the first byte that does not decode
  int byte = 0;          // its value
};

// Makes a text file readable by the text path: UTF-8 without a byte-order
// mark. encoding names the file's encoding, or is empty to detect it. A
// file that is UTF-8 already is only checked and *utf8Path is the input
// itself; any other is decoded, a block at a time, into copyPath (when
// copyPath is empty, only checked); one that cannot be opened (or is no
// file) is passed on as it is, for the conversion to report. Progress in
// KB; a cancel gives KAV_PROGRESS_CANCEL. 0, KAV_ERR_UNKNOWN_ENCODING,
// KAV_ERR_UNCLEAR_ENCODING, KAV_ERR_BAD_TEXT, or KAV_ERR_OPEN when the copy
// cannot be written or the input read.
int PrepareUtf8Text(const std::string& input, const std::string& encoding,
                    const std::string& copyPath, void* user, ProgressCallback progress,
                    std::string* utf8Path, TextProblem* problem);

}  // namespace kav_convert

#endif  // KAV_EPUB_CONVERT_TEXT_ENCODING_H_
