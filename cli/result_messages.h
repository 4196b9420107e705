#ifndef KAV_EPUB_CLI_RESULT_MESSAGES_H_
#define KAV_EPUB_CLI_RESULT_MESSAGES_H_

#include <cstddef>
#include <string>

namespace kavcli {

// The one place where result codes become words: a short sentence for every
// code that the library or its companions can return, or null for a code
// that has none.
const char* ResultMessage(int code);

// The paths a result code can be about.
struct Subjects {
  std::string input;   // the (first) input file
  std::string output;  // the book
  std::string work;    // the directory that holds the working directory
  // Whether the disk of the book's directory, or of the working directory,
  // has less room left than the book could need.
  bool outputDiskFull = false;
  bool workDiskFull = false;
};

// The line for a result code, without the "kav-epub: " prefix: the path it
// is about (if any), the code's sentence, or for a failure to write on a
// full disk that it is full, and the code.
std::string ResultLine(int code, const Subjects& subjects);

// Failures that the tool finds itself, before or around the library.
enum class ToolFailure {
  kReadInput,        // subject: the input file; byte: the errno
  kWriteText,        // subject: the input file (its UTF-8 copy failed)
  kUnknownEncoding,  // subject: the encoding name
  kUnclearEncoding,  // subject: the input file
  kUndecodable,      // subject: the input file, in the named encoding
  kTruncatedText,    // subject: the input file, in the named encoding
  kReadDirectory,    // subject: the directory
  kMakeDirectory,    // subject: the directory
  kStartWorker,      // subject: the input file
  kWorkerKilled,     // byte holds the signal
  kWorkerSilent,     // the worker failed without saying why
  kBadJobs,          // subject: the value given
  kBadShard,         // subject: the value given
  kNoSuchFile,       // subject: the input file
  kIsDirectory,      // subject: the input file
  kNotRegularFile,   // subject: the input file
  kUnreadable,       // subject: the input file; byte: the errno
  kNotMobi,          // subject: the input file
  kUnknownKind,      // subject: the input file
  kAlreadyEpub,      // subject: the input file
  kNoOutputFolder,   // subject: the book; encoding: its folder
  kOutputNotFile,    // subject: the book
  kOverInput,        // subject: the book
  kReplaceOutput,    // subject: the book; byte: the errno
};

struct ToolError {
  ToolFailure kind = ToolFailure::kReadInput;
  std::string subject;
  std::string encoding;
  long long offset = 0;  // bytes from the start of the file
  int byte = 0;          // the offending byte's value, or a signal number
};

// The sentence for a failure of the tool, without the "kav-epub: " prefix.
std::string ToolMessage(const ToolError& error);

// The warning for a MOBI book whose own table of contents had flaws
// (KavEpubConvertMobi's count), without the prefix.
std::string TocWarning(const std::string& input, size_t flaws);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_RESULT_MESSAGES_H_
