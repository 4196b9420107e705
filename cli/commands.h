#ifndef KAV_EPUB_CLI_COMMANDS_H_
#define KAV_EPUB_CLI_COMMANDS_H_

#include "cli/options.h"
#include "cli/progress_bar.h"

namespace kavcli {

// Exit statuses of kav-epub.
enum ExitStatus {
  kExitOk = 0,
  kExitFailed = 1,       // the conversion reported a result code
  kExitUsage = 2,        // the command line was wrong
  kExitInterrupted = 130,
};

// The subcommands. Each gets its parsed options and returns an exit status.
int RunTxt(const Options& options);
int RunHtml(const Options& options);
int RunMobi(const Options& options);

// Turns a conversion's outcome into a message on standard error and an exit
// status: success, an interrupt (the library reports a cancel as 0), or the
// code's message.
int Conclude(int code, ProgressBar* bar, const char* outputPath);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_COMMANDS_H_
