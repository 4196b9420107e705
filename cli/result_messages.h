#ifndef KAV_EPUB_CLI_RESULT_MESSAGES_H_
#define KAV_EPUB_CLI_RESULT_MESSAGES_H_

#include <string>

namespace kavcli {

// The one place where result codes become words: a short sentence for every
// code that the library or its companions can return, or null for a code
// that has none.
const char* ResultMessage(int code);

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

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_RESULT_MESSAGES_H_
