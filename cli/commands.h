#ifndef KAV_EPUB_CLI_COMMANDS_H_
#define KAV_EPUB_CLI_COMMANDS_H_

#include <functional>
#include <string>

#include "cli/options.h"
#include "cli/progress_bar.h"
#include "service/kav_epub.h"

namespace kavcli {

// Exit statuses of kav-epub.
enum ExitStatus {
  kExitOk = 0,
  kExitFailed = 1,  // the conversion reported a result code
  kExitUsage = 2,   // the command line was wrong
  kExitInterrupted = 130,
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

// Runs one conversion with a fresh service record and a private working
// directory, both released afterwards (which also removes an active book's
// working files), and turns its result code into a message on standard
// error and an exit status. convert gets the record, the working directory
// and the progress bar, and returns the library's result code.
using Conversion = std::function<int(TEpubService* service, const char* workDir, ProgressBar* bar)>;
int RunConversion(const char* label, bool quiet, const char* outputPath, const Conversion& convert);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_COMMANDS_H_
