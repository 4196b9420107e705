#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "builder/epub_base.h"
#include "convert/epub_management.h"
#include "convert/progress_report.h"
#include "convert/text_chunks.h"
#include "convert/text_file.h"
#include "convert/text_lines.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

using kav_convert::IsCancel;
using kav_convert::ReportProgress;

namespace {

enum class LoopEnd { kEndOfFile, kCancelled, kFailed };

}  // namespace

int EpubManagement::TXT2Epub(const char* txtPath, const char* epubPath, void* user,
                             ProgressCallback progress) {
  if (KavIsStrNullOrEmpty(epubPath) != 0) return KAV_ERR_ARGUMENT;
  if (KavIsStrNullOrEmpty(txtPath) != 0) return KAV_ERR_ARGUMENT;

  char* outputDir = KavGetRunDirectory(epubPath);
  int outputDirExists = KavIsFileOrDirExists(outputDir);
  free(outputDir);
  if (outputDirExists == 0) return KAV_ERR_NO_OUTPUT_DIR;

  // Converting without Init would have no builder to feed.
  if (epub == nullptr) return KAV_ERR_NO_BUILDER;
  int result = epub->Init(workDir.c_str(), title.c_str(), author.c_str());
  if (result != KAV_OK) return result;

  FILE* text = kav_convert::OpenTextFile(txtPath);
  if (text == nullptr) return KAV_ERR_OPEN;

  const int pages = GetPageNumForTXT(txtPath);
  const int total = pages + 1;

  // The early returns below close the text file as well: nothing but a
  // leaked handle would come of leaving it open.
  result = epub->StartPage();
  if (result != KAV_OK) {
    fclose(text);
    epub->ClearData();
    return result;
  }

  int page = 0;
  int onPage = 0;
  if (pages != 0) {
    page = 1;
    if (IsCancel(ReportProgress(progress, user, page, total))) {
      fclose(text);
      epub->ClearData();
      return KAV_OK;
    }
  }

  LoopEnd end = LoopEnd::kEndOfFile;
  kav_convert::TextChunks chunks(text);
  while (!feof(text)) {
    // The sixtieth chunk of a page is the last one on it.
    if (!chunks.Next(onPage == kav_convert::kLinesPerPage - 1)) {
      if (chunks.failed()) {
        // An unreadable stream (a directory, an I/O error) never reaches its
        // end: report it like a file that cannot be opened.
        result = KAV_ERR_OPEN;
        end = LoopEnd::kFailed;
        break;
      }
      continue;
    }

    if (onPage >= kav_convert::kLinesPerPage) {
      result = epub->EndPage();
      if (result != KAV_OK) {
        end = LoopEnd::kFailed;
        break;
      }
      result = epub->StartPage();
      if (result != KAV_OK) {
        end = LoopEnd::kFailed;
        break;
      }
      ++page;
      int answer = ReportProgress(progress, user, page, total);
      onPage = 0;
      if (IsCancel(answer)) {
        end = LoopEnd::kCancelled;
        break;
      }
    }

    ++onPage;
    // The line goes in as read, its line feed included: the builder's line
    // classifier needs it.
    result = epub->AddTextLineToPage(chunks.text());
    if (result != KAV_OK) {
      end = LoopEnd::kFailed;
      break;
    }
  }
  fclose(text);

  if (end == LoopEnd::kCancelled) {
    epub->ClearData();
    return KAV_OK;
  }
  if (end == LoopEnd::kFailed) {
    // No partial book: the working files go and the book is never packed.
    epub->ClearData();
    return result;
  }

  // On these two failures the working files stay for the caller's ClearData.
  result = epub->EndPage();
  if (result != KAV_OK) return result;
  result = epub->GenerateEpub(epubPath);
  if (result != KAV_OK) return result;

  // The last report cannot cancel: the book is already written.
  ReportProgress(progress, user, page + 1, total);
  epub->ClearData();
  return KAV_OK;
}
