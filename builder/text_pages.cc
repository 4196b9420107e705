#include <string>

#include "builder/book_paths.h"
#include "builder/epub_base.h"
#include "builder/line_text.h"
#include "builder/page_extras.h"
#include "fileutil/file_util.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

namespace {

// The number of bytes at the end of text that begin a UTF-8 character whose
// missing continuation bytes line starts with: a character that the text
// path's fixed-size reads cut in two. 0 when there is none.
size_t CutCharacter(const std::string& text, const char* line) {
  const size_t length = text.size();
  for (size_t back = 1; back <= 3 && back <= length; ++back) {
    const unsigned char byte = static_cast<unsigned char>(text[length - back]);
    if ((byte & 0xC0) == 0x80) continue;
    const size_t size = byte >= 0xF0 && byte <= 0xF4   ? 4
                        : byte >= 0xE0 && byte <= 0xEF ? 3
                        : byte >= 0xC2 && byte <= 0xDF ? 2
                                                       : 0;
    if (size <= back) return 0;
    // Stops at the line's terminator, which is no continuation byte.
    for (size_t k = 0; k < size - back; ++k) {
      if ((static_cast<unsigned char>(line[k]) & 0xC0) != 0x80) return 0;
    }
    return back;
  }
  return 0;
}

}  // namespace

int EpubBase::StartPage() {
  ++pageNum;
  // Pages are not nested. A page started again before EndPage was never
  // going to be saved; release it rather than leak it.
  delete pageFile;
  kav_builder::ForgetPageExtras(this);
  pageFile = new XMLFile();
  return pageFile->InitHTML(std::to_string(pageNum).c_str());
}

int EpubBase::AddTextLineToPage(const char* line) {
  // LineProc in two steps, so that the line's text goes straight into the
  // paragraph: an empty line changes nothing.
  if (KavIsStrNullOrEmpty(line) != 0) return KAV_ERR_EMPTY_LINE;
  int r = kav_builder::ClassifyLine(line, prevIndent, prevLineLen, maxLineLen);
  if (r == 1) {
    if (pageFile == nullptr) return KAV_ERR_NO_PAGE_FOR_TEXT;
    // The gathered paragraph is written even when it is empty. When that
    // fails, it stays as it was and the new line's text is dropped. The
    // first bytes of a character that the new line finishes go with it.
    const size_t cut = CutCharacter(paraText, line);
    const std::string carried = paraText.substr(paraText.size() - cut);
    paraText.resize(paraText.size() - cut);
    int written = pageFile->AddTextLineToHtml(paraText.c_str());
    if (written != 0) {
      paraText += carried;
      return written;
    }
    paraText = carried;
  }
  kav_builder::AppendLineText(paraText, line);
  return KAV_OK;
}

int EpubBase::AddFormToPage(const char* text, FormOperator op) {
  if (pageFile == nullptr) return KAV_ERR_FAILED;
  // The gathered paragraph is not flushed first: the table lands before it.
  return pageFile->AddFormToHtml(text, op);
}

int EpubBase::EndPage() {
  // Ending a page that was never started is a caller error; it is reported
  // as "no page is open" rather than dereferencing nothing.
  if (pageFile == nullptr) return KAV_ERR_NO_PAGE;
  std::string name = kav_builder::PageFileName(pageNum);
  std::string path = bookDir + "/OEBPS/" + name;

  int r = pageFile->AddTextLineToHtml(paraText.c_str());
  if (r != 0) return r;

  const kav_builder::PageExtras extras = kav_builder::PageExtrasOf(this);
  kav_builder::BookAccess access = kav_builder::BookAccessOf(this);
  if (access.accessible) {
    ++access.pages;
    if (extras.labelled) ++access.headings;
    r = pageFile->SetHtmlAccess(
        access.language.c_str(),
        kav_builder::PageTitle(access, pageNum, extras.labelled ? &extras.label : nullptr).c_str());
    if (r != 0) return r;
    kav_builder::SetBookAccess(this, access);
  }

  CreateFile(path.c_str());
  pageFile->SaveHtml(path.c_str());  // a failed save is not reported
  delete pageFile;
  pageFile = nullptr;

  kav_builder::ForgetPageExtras(this);
  if (!extras.listed) {
    // In the reading order, not in the navigation document.
    r = opfFile == nullptr ? KAV_ERR_NO_PAGE : opfFile->AddRecordToOpf(name.c_str());
  } else if (extras.labelled) {
    r = opfFile == nullptr || ncxFile == nullptr ? KAV_ERR_NO_PAGE
                                                 : opfFile->AddRecordToOpf(name.c_str());
    if (r == 0) r = ncxFile->AddRecordToNcx(name.c_str(), extras.label.c_str());
  } else {
    r = RegisterPage(name);
  }
  if (r != 0) return r;

  // Each page starts the paragraph heuristics afresh.
  paraText.clear();
  prevIndent = 0;
  prevLineLen = 0;
  maxLineLen = 0;
  return KAV_OK;
}

int EpubBase::RegisterPage(const std::string& name) {
  if (opfFile == nullptr || ncxFile == nullptr) return KAV_ERR_NO_PAGE;
  int r = opfFile->AddRecordToOpf(name.c_str());
  if (r != 0) return r;
  return ncxFile->AddRecordToNcx(name.c_str());
}
