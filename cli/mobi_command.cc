#include <cstdio>

#include "cli/commands.h"
#include "service/kav_epub.h"

namespace kavcli {

int RunMobi(const Options& options) {
  if (options.positional.size() != 2) {
    fprintf(stderr, "usage: kav-epub mobi INPUT.mobi OUTPUT.epub [--quiet]\n");
    return kExitUsage;
  }
  const char* input = options.positional[0].c_str();
  const char* output = options.positional[1].c_str();
  return RunConversion("mobi", options.quiet, output,
                       [&](TEpubService* service, const char* workDir, ProgressBar* bar) {
                         return service->Mobi2Epub(input, output, workDir, bar,
                                                   ProgressBar::Report);
                       });
}

}  // namespace kavcli
