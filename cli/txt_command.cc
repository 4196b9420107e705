#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cli/commands.h"
#include "cli/result_messages.h"
#include "cli/text_encoding.h"
#include "convert/epub_management.h"
#include "convert/text_file.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_epub.h"
#include "service/kav_result.h"

namespace kavcli {

namespace {

constexpr int kLinesPerPage = 60;

bool OutputDirExists(const char* output) {
  char* dir = KavGetRunDirectory(output);
  bool exists = KavIsFileOrDirExists(dir) != 0;
  free(dir);
  return exists;
}

// The library's text conversion leaves title and author empty, so a named
// book is built through the page-by-page entries, in the same order and with
// the same pages and progress as the one-call conversion.
int BuildNamedTextBook(TEpubService* service, const char* input, const char* output,
                       const char* workDir, const char* title, const char* author,
                       ProgressBar* bar) {
  if (!OutputDirExists(output)) return KAV_ERR_NO_OUTPUT_DIR;
  int code = service->InitEpub(service->data, workDir, title, author);
  if (code != 0) return code;
  FILE* text = kav_convert::OpenTextFile(input);
  if (text == nullptr) return KAV_ERR_OPEN;
  int total = GetPageNumForTXT(input) + 1;
  code = service->StartPage(service->data);
  int page = 0;
  int onPage = 0;
  bool cancelled = false;
  if (code == 0 && total > 1) {
    page = 1;
    cancelled = ProgressBar::Report(bar, page, total) == KAV_PROGRESS_CANCEL;
  }
  char line[256];
  while (code == 0 && !cancelled && !feof(text)) {
    memset(line, 0, sizeof line);
    if (fgets(line, 255, text) == nullptr) continue;
    if (onPage >= kLinesPerPage) {
      if ((code = service->EndPage(service->data)) != 0) break;
      if ((code = service->StartPage(service->data)) != 0) break;
      onPage = 0;
      cancelled = ProgressBar::Report(bar, ++page, total) == KAV_PROGRESS_CANCEL;
      if (cancelled) break;
    }
    ++onPage;
    code = service->AddTextLineToPage(service->data, line);
  }
  fclose(text);
  // A cancel is reported as success, as the library's own conversion does.
  if (cancelled) return 0;
  if (code != 0) return code;
  if ((code = service->EndPage(service->data)) != 0) return code;
  if ((code = service->GenerateEpub(service->data, output)) != 0) return code;
  ProgressBar::Report(bar, page + 1, total);
  return 0;
}

}  // namespace

int RunTxt(const Options& options) {
  if (options.positional.size() != 2) {
    fprintf(stderr, "usage: kav-epub txt INPUT.txt OUTPUT.epub [OPTIONS] (--help lists them)\n");
    return kExitUsage;
  }
  return RunConversion(
      "txt", options.quiet, {options.positional[0]}, options.positional[1].c_str(),
      [&](TEpubService* service, const char* workDir, const char* output, ProgressBar* bar) {
        std::string text;
        ToolError error;
        switch (PrepareUtf8Text(options.positional[0], options.Get("encoding", ""), workDir, bar,
                                &text, &error)) {
          case TextStatus::kReady:
            break;
          case TextStatus::kCancelled:
            return 0;  // reported as the library reports a cancel
          case TextStatus::kFailed:
            bar->Finish();
            fprintf(stderr, "kav-epub: %s\n", ToolMessage(error).c_str());
            return kToolFailureReported;
        }
        const char* input = text.c_str();
        if (!options.Has("title") && !options.Has("author")) {
          return service->Txt2Epub(input, output, workDir, "", "", bar, ProgressBar::Report);
        }
        return BuildNamedTextBook(service, input, output, workDir, options.Get("title", ""),
                                  options.Get("author", ""), bar);
      });
}

}  // namespace kavcli
