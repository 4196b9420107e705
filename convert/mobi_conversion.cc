#include <stdlib.h>

#include <cctype>
#include <cstdio>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "builder/epub_base.h"
#include "builder/page_extras.h"
#include "convert/epub_management.h"
#include "convert/language_guess.h"
#include "convert/text_book.h"
#include "convert/progress_report.h"
#include "platform/mobi/kav_mobi.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

using kav_convert::IsCancel;
using kav_convert::ReportProgress;

namespace {

constexpr int kProgressTotal = 10;
constexpr int kOpened = 1;
constexpr int kExtracted = 6;
constexpr int kBuilderReady = 7;
constexpr int kReaderReleased = 8;
constexpr int kImported = 9;
constexpr int kWritten = 10;

// Imported paragraphs become blocks without margins, their first line
// indented; the spaces at the line ends and starts are part of the text.
constexpr char kParagraphRule[] =
    "p { display: block; \n"
    " margin-bottom: 0; \n"
    "margin-left: 0; \n"
    "margin-right: 0; \n"
    "margin-top: 0; \n"
    "text-indent: 1em }";

// Owns one reader record: closes and frees it exactly once, either when
// Release is called or when the conversion returns before that.
class MobiReader {
 public:
  explicit MobiReader(TMobiService* service) : service_(service) {}
  ~MobiReader() { Release(); }
  MobiReader(const MobiReader&) = delete;
  MobiReader& operator=(const MobiReader&) = delete;

  TMobiService* operator->() const { return service_; }
  void* handle() const { return service_->handle; }

  void Release() {
    if (service_ == nullptr) return;
    service_->Close(service_->handle);
    FreeMobiService(service_);
    service_ = nullptr;
  }

 private:
  TMobiService* service_;
};

std::string TakeString(char* text) {
  std::string copy = text != nullptr ? text : "";
  free(text);
  return copy;
}

// Pages hold at most this much of the book each.
constexpr size_t kMaxPageBytes = 256 * 1024;

struct BookTocEntry {
  std::string label;
  std::string anchor;
  int depth;
};

int TakeToc(const TMobiService* reader, std::vector<BookTocEntry>* toc, size_t* flaws) {
  TMobiTocEntry* entries = nullptr;
  size_t count = 0;
  size_t flawed = 0;
  const int r = reader->GetToc(reader->handle, &entries, &count, &flawed);
  if (r != KAV_OK) return r;
  toc->reserve(count);
  for (size_t i = 0; i < count; ++i) {
    toc->push_back({entries[i].label, entries[i].anchor, entries[i].depth});
  }
  reader->FreeToc(entries, count);
  if (flaws != nullptr) *flaws = flawed;
  return KAV_OK;
}

// The extracted page in pages that start at the table's places, with the
// table pointing into them; an entry whose place the pages lost is left out
// (and counted). A book without a table lists its first page, under its
// title.
int AddPagesWithToc(EpubBase* epub, const std::string& htmlPath,
                    const std::vector<BookTocEntry>& toc, const std::string& title,
                    size_t* flaws) {
  std::vector<std::string> breakIds;
  breakIds.reserve(toc.size());
  for (const BookTocEntry& entry : toc) breakIds.push_back(entry.anchor);
  const std::string firstPage = epub->NextPageFileName();
  std::unordered_map<std::string, std::string> pageOfId;
  int r = epub->AddSplitHtmlToEpub(htmlPath.c_str(), breakIds, kMaxPageBytes, false, &pageOfId);
  if (r != KAV_OK) return r;
  int listed = 0;
  for (const BookTocEntry& entry : toc) {
    auto page = pageOfId.find(entry.anchor);
    if (page == pageOfId.end()) {
      if (flaws != nullptr) ++*flaws;
      continue;
    }
    r = epub->AddTocEntry((page->second + "#" + entry.anchor).c_str(), entry.label.c_str(),
                          entry.depth);
    if (r != KAV_OK) return r;
    ++listed;
  }
  if (listed > 0) return KAV_OK;
  return epub->AddTocEntry(firstPage.c_str(), title.empty() ? "1" : title.c_str(), 1);
}

// The words at the start of the extracted HTML, without its tags: enough
// for the language guesser, which goes by the script of the text.
std::string TextSample(const std::string& htmlPath) {
  constexpr size_t kSample = 64 * 1024;
  std::string html(kSample, '\0');
  FILE* file = fopen(htmlPath.c_str(), "rb");
  if (file == nullptr) return "";
  html.resize(fread(&html[0], 1, html.size(), file));
  fclose(file);
  std::string text;
  bool inTag = false;
  for (char c : html) {
    if (c == '<') inTag = true;
    if (!inTag) text += c;
    if (c == '>') inTag = false;
  }
  return text;
}

// The book's language for its pages: the one the MOBI book declares, as
// BCP 47 writes it ("en-us" becomes "en-US"), else a guess from its text.
std::string BookLanguage(TMobiService* service, const std::string& htmlPath) {
  std::string tag = TakeString(KavMobiGetLanguage(service));
  for (size_t i = 0, start = 0; i <= tag.size(); ++i) {
    if (i < tag.size() && tag[i] != '-') continue;
    if (start > 0 && i - start == 2) {
      for (size_t j = start; j < i; ++j) tag[j] = static_cast<char>(toupper(tag[j]));
    }
    start = i + 1;
  }
  if (kav_convert::IsLanguageTag(tag.c_str())) return tag;
  const std::string sample = TextSample(htmlPath);
  return kav_convert::GuessLanguage(sample.data(), sample.size());
}

}  // namespace

int EpubManagement::Mobi2Epub(const char* mobiPath, const char* epubPath, void* user,
                              ProgressCallback progress) {
  return ConvertMobi(mobiPath, epubPath, user, progress, false, MobiAccess(), nullptr);
}

int EpubManagement::Mobi2Epub(const char* mobiPath, const char* epubPath, void* user,
                              ProgressCallback progress, const MobiAccess& access) {
  return ConvertMobi(mobiPath, epubPath, user, progress, false, access, nullptr);
}

int EpubManagement::MobiPages2Epub(const char* mobiPath, const char* epubPath, void* user,
                                   ProgressCallback progress, const MobiAccess& access,
                                   size_t* tocFlaws) {
  return ConvertMobi(mobiPath, epubPath, user, progress, true, access, tocFlaws);
}

int EpubManagement::ConvertMobi(const char* mobiPath, const char* epubPath, void* user,
                                ProgressCallback progress, bool pages, const MobiAccess& access,
                                size_t* tocFlaws) {
  const bool accessible = access.on;
  if (tocFlaws != nullptr) *tocFlaws = 0;
  char* outputDir = KavGetRunDirectory(epubPath);
  int outputDirExists = KavIsFileOrDirExists(outputDir);
  free(outputDir);
  if (outputDirExists == 0) return KAV_ERR_NO_OUTPUT_DIR;

  // Converting without Init would have no builder to feed.
  if (epub == nullptr) return KAV_ERR_NO_BUILDER;

  TMobiService* service = CreateMobiService();
  // The reader library could not even allocate its record.
  if (service == nullptr) return KAV_ERR_FAILED;
  MobiReader reader(service);

  if (pages) reader->SetReadToc(reader.handle(), 1);
  int result = reader->Open(reader.handle(), mobiPath);
  if (result != KAV_OK) return result;
  if (IsCancel(ReportProgress(progress, user, kOpened, kProgressTotal))) return KAV_OK;

  KavMkdir(processTmpDir.c_str());  // a failure shows up as ExtractHtml's
  const std::string htmlPath = processTmpDir + "/tmp.html";
  result = reader->ExtractHtml(reader.handle(), htmlPath.c_str());
  if (result != KAV_OK) return result;
  std::vector<BookTocEntry> toc;
  if (pages) {
    result = TakeToc(reader.operator->(), &toc, tocFlaws);
    if (result != KAV_OK) return result;
  }
  if (IsCancel(ReportProgress(progress, user, kExtracted, kProgressTotal))) return KAV_OK;

  // A null title or author is handed on as null, not as "".
  char* title = reader->GetTitle(reader.handle());
  char* bookAuthor = reader->GetAuthor(reader.handle());
  std::string bookTitle = title != nullptr ? title : "";
  // An accessible book's title is never empty: the file's name stands in.
  if (accessible && kav_builder::PlainText(bookTitle).empty()) {
    bookTitle = kav_convert::FileStem(mobiPath);
  }
  result = epub->Init(workDir.c_str(), title != nullptr ? bookTitle.c_str() : nullptr, bookAuthor);
  free(title);
  free(bookAuthor);
  if (result == KAV_OK && accessible) result = epub->SetAccessible(true);
  if (result == KAV_OK && accessible && !access.conformsTo.empty()) {
    kav_builder::BookAccess book = kav_builder::BookAccessOf(epub);
    book.conformsTo = access.conformsTo;
    kav_builder::SetBookAccess(epub, book);
  }
  if (result == KAV_OK && accessible) {
    result = epub->SetLanguage(BookLanguage(service, htmlPath).c_str());
  }
  if (result != KAV_OK) return result;
  if (IsCancel(ReportProgress(progress, user, kBuilderReady, kProgressTotal))) return KAV_OK;

  std::string coverPath;
  char* coverName = reader->GetCoverImage(reader.handle());
  if (coverName != nullptr) coverPath = processTmpDir + "/" + TakeString(coverName);
  // A book without a cover, or whose cover file is missing, goes on without.
  result = KAV_OK;
  if (KavIsFileExists(coverPath.c_str()) != 0) {
    result = epub->AddCoverImageToEpub(coverPath.c_str());
  }

  // Everything the reader had to give is on disk now.
  reader.Release();
  if (result != KAV_OK) return result;
  if (IsCancel(ReportProgress(progress, user, kReaderReleased, kProgressTotal))) return KAV_OK;

  result = pages ? AddPagesWithToc(epub, htmlPath, toc, bookTitle, tocFlaws)
                 : epub->AddHTHLToEpub(htmlPath.c_str());
  if (result != KAV_OK) return result;
  if (IsCancel(ReportProgress(progress, user, kImported, kProgressTotal))) return KAV_OK;

  epub->AppendPropToCSS(kParagraphRule);  // a missing rule only changes the look
  result = epub->GenerateEpub(epubPath);
  if (result != KAV_OK) return result;

  // The last report cannot cancel: the book is already written.
  ReportProgress(progress, user, kWritten, kProgressTotal);
  return KAV_OK;
}

namespace kav_convert {

int ConvertMobiBook(const char* mobiPath, const char* epubPath, const char* workDir,
                    bool accessible, void* user, ProgressCallback progress) {
  // No checks here: every failure is the converter's own code.
  EpubManagement* converter = new (std::nothrow) EpubManagement();
  if (converter == nullptr) return KAV_ERR_FAILED;
  int result = converter->Init(workDir, "", "");
  if (result == KAV_OK) {
    MobiAccess access;
    access.on = accessible;
    result = converter->Mobi2Epub(mobiPath, epubPath, user, progress, access);
  }
  // The converter's scratch files always go, whatever the conversion gave.
  converter->ClearData();
  delete converter;
  return result;
}

}  // namespace kav_convert
