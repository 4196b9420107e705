#ifndef KAV_EPUB_CLI_COMMANDS_H_
#define KAV_EPUB_CLI_COMMANDS_H_

#include <functional>
#include <string>
#include <vector>

#include "cli/options.h"
#include "cli/progress_bar.h"
#include "service/kav_epub.h"

namespace kavcli {

// Exit statuses of kav-epub.
enum ExitStatus {
  kExitOk = 0,
  kExitFailed = 1,  // the conversion reported a result code
  kExitUsage = 2,   // the command line was wrong
  // An interrupted conversion exits with 128 + the signal's number (130 for
  // SIGINT, 143 for SIGTERM).
};

// What a Conversion returns when it failed before or around the library and
// has printed its own message already.
constexpr int kToolFailureReported = -1000;

// The subcommands. Each gets its parsed options and returns an exit status.
int RunTxt(const Options& options);
int RunHtml(const Options& options);
int RunMobi(const Options& options);
int RunBatch(const Options& options);

// Says on standard error that a cover picture of a kind books do not take
// is left out.
void WarnOfSkippedCover(const std::string& cover);

// Runs one conversion: checks the inputs and the output's directory (each
// failure a line naming the path), makes a private working directory, and
// runs convert in a process of its own with a fresh service record. convert
// gets the record, the working directory, the path to write the book to (a
// temporary name beside outputPath, renamed when the process succeeded) and
// the progress bar, and returns the library's result code, which becomes a
// message on standard error and an exit status. An interrupt kills the
// process at once, whatever the library is doing; the working directory
// and the temporary book are removed in every case.
using Conversion = std::function<int(TEpubService* service, const char* workDir, const char* output,
                                     ProgressBar* bar)>;
int RunConversion(const char* label, bool quiet, const std::vector<std::string>& inputs,
                  const char* outputPath, const Conversion& convert);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_COMMANDS_H_
