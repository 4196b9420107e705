#include <cstdio>

#include "cli/book_kind.h"
#include "cli/commands.h"
#include "cli/result_messages.h"
#include "service/kav_epub.h"
#include "service/kav_epub_ext.h"

namespace kavcli {

int RunMobi(const Options& options) {
  if (options.positional.size() != 2) {
    fprintf(stderr, "usage: kav-epub mobi INPUT.mobi OUTPUT.epub [OPTIONS] (--help lists them)\n");
    return kExitUsage;
  }
  const char* input = options.positional[0].c_str();
  const char* output = options.positional[1].c_str();
  return RunConversion(
      "mobi", options.quiet, {input}, output,
      [&](TEpubService* service, const char* workDir, const char* book, ProgressBar* bar) {
        if (!HasMobiHeader(input)) {
          ToolError error;
          error.kind = ToolFailure::kNotMobi;
          error.subject = input;
          fprintf(stderr, "kav-epub: %s\n", ToolMessage(error).c_str());
          return kToolFailureReported;
        }
        // The record's Mobi2Epub makes an accessible book unless told not to.
        if (!options.Has("no-accessibility")) KavEpubSetAccessible(service, 1);
        return service->Mobi2Epub(input, book, workDir, bar, ProgressBar::Report);
      });
}

}  // namespace kavcli
