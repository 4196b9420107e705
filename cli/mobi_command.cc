#include <cstdio>

#include "cli/book_kind.h"
#include "cli/commands.h"
#include "cli/result_messages.h"
#include "service/kav_epub.h"
#include "service/kav_epub_ext.h"
#include "service/kav_result.h"

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
        (void)service;
        KavBookOptions* settings = KavOptionsCreate();
        if (settings == nullptr) return static_cast<int>(KAV_ERR_FAILED);
        KavOptionsSet(settings, "mobi-layout", options.Has("single-page") ? "single" : "pages");
        KavOptionsSet(settings, "accessibility", options.Has("no-accessibility") ? "off" : "on");
        size_t flaws = 0;
        const int code =
            KavEpubConvertMobi(input, book, workDir, settings, bar, ProgressBar::Report, &flaws);
        KavOptionsFree(settings);
        if (code == 0 && flaws > 0) {
          bar->Finish();
          fprintf(stderr, "kav-epub: %s\n", TocWarning(input, flaws).c_str());
        }
        return code;
      });
}

}  // namespace kavcli
