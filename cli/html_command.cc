#include <cstdio>
#include <string>

#include "builder/epub_base.h"
#include "cli/commands.h"
#include "service/kav_epub.h"
#include "service/kav_epub_ext.h"

namespace kavcli {

namespace {

// Imports every input as the next page (with what it links to), after the
// cover; progress counts the inputs and the packing.
int BuildHtmlBook(TEpubService* service, const Options& options, const char* output,
                  const char* workDir, ProgressBar* bar) {
  const size_t inputs = options.positional.size() - 1;
  const int total = static_cast<int>(inputs) + 1;
  // Without --title the book is named by the top page's <title>, else by
  // its file's name.
  std::string title = options.Get("title", "");
  if (!options.Has("title")) {
    char found[1024] = "";
    KavHtmlBookTitle(options.positional[0].c_str(), options.Get("encoding", "auto"), found,
                   sizeof found);
    title = found;
  }
  int code = service->InitEpub(service->data, workDir, title.c_str(), options.Get("author", ""));
  if (code != 0) return code;
  // Each page in its own encoding unless --encoding names one for all.
  code = KavEpubSetHtmlEncoding(service, options.Get("encoding", "auto"));
  if (code == 0 && !options.Has("no-accessibility")) code = KavEpubSetAccessible(service, 1);
  if (code != 0) return code;
  if (options.Has("cover")) {
    const std::string cover = options.Get("cover", "");
    WarnOfSkippedCover(cover);
    // The record has no cover entry; the builder behind it has.
    code = service->data->epub->AddCoverImageToEpub(cover.c_str());
    if (code != 0) return code;
  }
  for (size_t i = 0; i < inputs; ++i) {
    // The builder looks up what a page refers to in the directory part of
    // its path; a bare file name has none and would send it to the root, so
    // it is named relative to the current directory.
    std::string input = options.positional[i];
    if (input.find('/') == std::string::npos) input = "./" + input;
    code = service->AddHtmlToEpub(service->data, input.c_str());
    if (code != 0) return code;
    if (ProgressBar::Report(bar, static_cast<int>(i) + 1, total) == KAV_PROGRESS_CANCEL) return 0;
  }
  code = service->GenerateEpub(service->data, output);
  if (code != 0) return code;
  ProgressBar::Report(bar, total, total);
  return 0;
}

}  // namespace

void WarnOfSkippedCover(const std::string& cover) {
  // The builder skips covers of other kinds silently; a user should know.
  const size_t dot = cover.rfind('.');
  const std::string extension = dot == std::string::npos ? "" : cover.substr(dot);
  if (std::string("|.jpeg|.jpg|.png|.gif|").find("|" + extension + "|") == std::string::npos) {
    fprintf(stderr, "kav-epub: cover skipped: only .jpeg, .jpg, .png and .gif pictures\n");
  }
}

int RunHtml(const Options& options) {
  if (options.positional.size() < 2) {
    fprintf(stderr,
            "usage: kav-epub html INDEX.html [MORE.html ...] OUTPUT.epub [OPTIONS] "
            "(--help lists them)\n");
    return kExitUsage;
  }
  const char* output = options.positional.back().c_str();
  const std::vector<std::string> inputs(options.positional.begin(), options.positional.end() - 1);
  return RunConversion(
      "html", options.quiet, inputs, output,
      [&](TEpubService* service, const char* workDir, const char* book, ProgressBar* bar) {
        return BuildHtmlBook(service, options, book, workDir, bar);
      });
}

}  // namespace kavcli
