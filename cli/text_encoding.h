#ifndef KAV_EPUB_CLI_TEXT_ENCODING_H_
#define KAV_EPUB_CLI_TEXT_ENCODING_H_

#include <cstddef>
#include <cstdio>
#include <string>

#include "cli/progress_bar.h"
#include "cli/result_messages.h"

namespace kavcli {

// How much of a text file its encoding is guessed from.
constexpr size_t kEncodingSampleSize = 64 << 10;

// The encoding of a text file guessed from its first bytes, as an iconv
// name, with the length of a byte-order mark found at its start (0 if
// none); empty when there is no telling.
std::string DetectEncoding(const std::string& sample, size_t* bomLength);

enum class TextStatus { kReady, kCancelled, kFailed };

// Makes a text file readable by the library: UTF-8 without a byte-order
// mark. encoding names the file's encoding, or is empty to detect it. A
// file that is UTF-8 already is only checked and *utf8Path is the input
// itself; any other is decoded, a block at a time, into a copy inside
// workDir; one that cannot be opened (or is no file) is passed on as it
// is, for the library to report. Progress (in KB) and interrupts go through bar.
TextStatus PrepareUtf8Text(const std::string& input, const std::string& encoding,
                           const std::string& workDir, ProgressBar* bar, std::string* utf8Path,
                           ToolError* error);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_TEXT_ENCODING_H_
