#include <cstdio>
#include <string>

#include "cli/commands.h"
#include "cli/result_messages.h"
#include "service/kav_epub.h"
#include "service/kav_epub_ext.h"
#include "service/kav_result.h"

namespace kavcli {

namespace {

// Says which part of a --chapters pattern is wrong; false when it is.
bool ReportBadPattern(const std::string& pattern) {
  char message[256];
  size_t offset = 0;
  if (KavCheckChapterPattern(pattern.c_str(), message, sizeof message, &offset) == KAV_OK) {
    return false;
  }
  fprintf(stderr, "kav-epub: --chapters: %s at offset %zu: %s<-- here%s\n", message, offset,
          pattern.substr(0, offset).c_str(), pattern.substr(offset).c_str());
  return true;
}

// Names the byte that does not decode, as only the tool can say it.
void ReportBadText(int code, const std::string& input, const char* named) {
  ToolError error;
  error.subject = input;
  char encoding[128];
  KavCheckTextEncoding(input.c_str(), named, encoding, sizeof encoding, &error.offset, &error.byte);
  error.encoding = encoding;
  if (code == KAV_ERR_UNKNOWN_ENCODING) {
    error.kind = ToolFailure::kUnknownEncoding;
    error.subject = encoding;
  } else if (code == KAV_ERR_UNCLEAR_ENCODING) {
    error.kind = ToolFailure::kUnclearEncoding;
  } else {
    error.kind = error.byte < 0 ? ToolFailure::kTruncatedText : ToolFailure::kUndecodable;
  }
  fprintf(stderr, "kav-epub: %s\n", ToolMessage(error).c_str());
}

}  // namespace

int RunTxt(const Options& options) {
  if (options.positional.size() != 2) {
    fprintf(stderr, "usage: kav-epub txt INPUT.txt OUTPUT.epub [OPTIONS] (--help lists them)\n");
    return kExitUsage;
  }
  const std::string input = options.positional[0];
  if (options.Has("chapters") && ReportBadPattern(options.Get("chapters", ""))) return kExitUsage;
  if (options.Has("cover")) WarnOfSkippedCover(options.Get("cover", ""));
  return RunConversion(
      "txt", options.quiet, {input}, options.positional[1].c_str(),
      [&](TEpubService*, const char* workDir, const char* output, ProgressBar* bar) {
        KavBookOptions* book = KavOptionsCreate();
        if (book == nullptr) return static_cast<int>(KAV_ERR_NULL_HANDLE);
        int code = KAV_OK;
        for (const char* name : {"title", "author", "language", "cover", "chapters", "encoding"}) {
          if (code == KAV_OK && options.Has(name)) {
            code = KavOptionsSet(book, name, options.Get(name, ""));
          }
        }
        if (code == KAV_OK && options.Has("no-chapters"))
          code = KavOptionsSet(book, "chapters", "off");
        if (code == KAV_OK) {
          code = KavOptionsSet(book, "accessibility",
                               options.Has("no-accessibility") ? "off" : "on");
        }
        if (code == KAV_OK) {
          code = KavEpubConvertText(input.c_str(), output, workDir, book, bar, ProgressBar::Report);
        }
        KavOptionsFree(book);
        if (code == KAV_ERR_BAD_TEXT || code == KAV_ERR_UNKNOWN_ENCODING ||
            code == KAV_ERR_UNCLEAR_ENCODING) {
          bar->Finish();
          ReportBadText(code, input, options.Get("encoding", "auto"));
          return kToolFailureReported;
        }
        return code;
      });
}

}  // namespace kavcli
