#include <cstdio>

#include "cli/commands.h"
#include "cli/result_messages.h"
#include "cli/work_dir.h"
#include "platform/tool/kav_tool.h"

namespace kavcli {

namespace {

// The outcome as the user sees it: success, an interrupt (the library
// reports a cancelled conversion as success), or the code's message.
int Conclude(int code, ProgressBar* bar, const char* outputPath) {
  bar->Finish();
  if (code == 0 && bar->cancelled()) {
    fprintf(stderr, "kav-epub: interrupted; no book was written\n");
    return kExitInterrupted;
  }
  if (code == kToolFailureReported) return kExitFailed;
  if (code == 0) {
    if (KavIsFileExists(outputPath)) return kExitOk;
    fprintf(stderr, "kav-epub: no book was written to %s\n", outputPath);
    return kExitFailed;
  }
  const char* message = ResultMessage(code);
  fprintf(stderr, "kav-epub: %s (code %d)\n", message != nullptr ? message : "conversion failed",
          code);
  return kExitFailed;
}

}  // namespace

int RunConversion(const char* label, bool quiet, const char* outputPath,
                  const Conversion& convert) {
  WorkDir work;
  TEpubService* service = CreateEpubService();
  if (!work.ok() || service == nullptr) {
    fprintf(stderr, "kav-epub: cannot make a working directory\n");
    if (service != nullptr) FreeEpubService(service);
    return kExitFailed;
  }
  ProgressBar bar(label, quiet);
  int code = convert(service, work.path(), &bar);
  FreeEpubService(service);
  return Conclude(code, &bar, outputPath);
}

}  // namespace kavcli
