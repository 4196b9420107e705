#include <cstdio>

#include "cli/commands.h"
#include "cli/work_dir.h"
#include "service/kav_epub.h"

namespace kavcli {

int RunMobi(const Options& options) {
  if (options.positional.size() != 2) {
    fprintf(stderr, "usage: kav-epub mobi INPUT.mobi OUTPUT.epub [--quiet]\n");
    return kExitUsage;
  }
  const char* input = options.positional[0].c_str();
  const char* output = options.positional[1].c_str();
  WorkDir work;
  TEpubService* service = CreateEpubService();
  if (!work.ok() || service == nullptr) {
    fprintf(stderr, "kav-epub: cannot make a working directory\n");
    if (service != nullptr) FreeEpubService(service);
    return kExitFailed;
  }
  ProgressBar bar("mobi", options.quiet);
  int code = service->Mobi2Epub(input, output, work.path(), &bar, ProgressBar::Report);
  FreeEpubService(service);
  return Conclude(code, &bar, output);
}

}  // namespace kavcli
