#include <cstdio>

#include "cli/commands.h"
#include "cli/result_messages.h"
#include "platform/tool/kav_tool.h"

namespace kavcli {

int Conclude(int code, ProgressBar* bar, const char* outputPath) {
  bar->Finish();
  // The library reports a cancelled conversion as success.
  if (code == 0 && bar->cancelled()) {
    fprintf(stderr, "kav-epub: interrupted; no book was written\n");
    return kExitInterrupted;
  }
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

}  // namespace kavcli
