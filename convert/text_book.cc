#include "convert/text_book.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <set>
#include <vector>

#include "builder/epub_base.h"
#include "builder/page_extras.h"
#include "convert/chapters.h"
#include "convert/language_guess.h"
#include "convert/progress_report.h"
#include "convert/text_chunks.h"
#include "convert/text_encoding.h"
#include "convert/text_file.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

namespace kav_convert {

namespace {

constexpr char kAuto[] = "auto";
constexpr char kOff[] = "off";
// What the language is guessed from: the start of the text.
constexpr size_t kLanguageSample = 64 << 10;

bool EndsLine(const char* chunk) {
  const size_t length = strlen(chunk);
  return length > 0 && chunk[length - 1] == '\n';
}

bool IsBlank(const char* chunk) {
  for (const char* p = chunk; *p != '\0'; ++p) {
    if (*p != ' ' && *p != '\t' && *p != '\r' && *p != '\n') return false;
  }
  return true;
}

int PagesOf(long chunks) { return static_cast<int>((chunks + kLinesPerPage - 1) / kLinesPerPage); }

// What a first pass over the text finds: its headings (by chunk), its page
// count and the start of its text.
struct TextPlan {
  std::vector<std::pair<long, std::string>> headings;
  bool frontMatter = false;  // text that is not blank before the first heading
  int pages = 0;
  std::string sample;
};

int PlanText(const std::string& path, ChapterFinder* finder, TextPlan* plan) {
  FILE* file = OpenTextFile(path.c_str());
  if (file == nullptr) return KAV_ERR_OPEN;
  TextChunks chunks(file);
  long index = 0;
  bool lineStart = true;
  std::vector<long> segmentChunks(1, 0);
  std::string heading;
  while (!feof(file)) {
    if (!chunks.Next(false)) {
      if (chunks.failed()) break;
      continue;
    }
    const char* chunk = chunks.text();
    const bool endsLine = EndsLine(chunk);
    if (plan->sample.size() < kLanguageSample) plan->sample += chunk;
    // A heading is a whole line, so one chunk that starts and ends it (or
    // ends the file).
    if (finder != nullptr && lineStart && (endsLine || feof(file)) &&
        finder->IsHeading(chunk, strlen(chunk), &heading)) {
      plan->headings.emplace_back(index, heading);
      segmentChunks.push_back(0);
    } else {
      ++segmentChunks.back();
      if (plan->headings.empty() && !IsBlank(chunk)) plan->frontMatter = true;
    }
    lineStart = endsLine;
    ++index;
  }
  const bool failed = ferror(file) != 0;
  fclose(file);
  if (failed) return KAV_ERR_OPEN;
  if (plan->headings.empty()) {
    plan->pages = PagesOf(segmentChunks[0]);
    return KAV_OK;
  }
  plan->pages = plan->frontMatter ? PagesOf(segmentChunks[0]) : 0;
  for (size_t s = 1; s < segmentChunks.size(); ++s) {
    plan->pages += segmentChunks[s] == 0 ? 1 : PagesOf(segmentChunks[s]);
  }
  return KAV_OK;
}

// Feeds the text to the builder: pages of sixty chunks, each heading
// starting a listed page under its own text, and the continuation pages of
// a chapter left out of the navigation document. Without headings, the
// pages and reports of the plain text path.
class BookWriter {
 public:
  BookWriter(EpubBase* epub, const TextPlan& plan, const std::string& title, void* user,
             ProgressCallback progress)
      : epub_(epub), plan_(plan), title_(title), user_(user), progress_(progress) {}

  // 0 with cancelled() set when the host cancelled.
  int Write(const std::string& path, const char* epubPath) {
    FILE* file = OpenTextFile(path.c_str());
    if (file == nullptr) return KAV_ERR_OPEN;
    int r = Feed(file);
    fclose(file);
    if (r != KAV_OK || cancelled_) return r;
    r = epub_->EndPage();
    if (r != KAV_OK) return r;
    r = epub_->GenerateEpub(epubPath);
    if (r != KAV_OK) return r;
    // The last report cannot cancel: the book is written.
    ReportProgress(progress_, user_, page_ + 1, plan_.pages + 1);
    return KAV_OK;
  }
  bool cancelled() const { return cancelled_; }

 private:
  int Feed(FILE* file) {
    const bool chapters = !plan_.headings.empty();
    int r = KAV_OK;
    if (!chapters) {
      // As the plain text path: one page started before anything is read.
      r = epub_->StartPage();
      if (r != KAV_OK) return r;
      open_ = true;
      if (plan_.pages != 0) {
        page_ = 1;
        if (Cancel()) return KAV_OK;
      }
    } else if (plan_.frontMatter) {
      if ((r = NextPage(title_.empty() ? nullptr : &title_, true)) != KAV_OK || cancelled_)
        return r;
    }
    TextChunks chunks(file);
    size_t heading = 0;
    for (long index = 0; !feof(file); ++index) {
      if (!chunks.Next(onPage_ == kLinesPerPage - 1)) {
        if (chunks.failed()) return KAV_ERR_OPEN;
        --index;
        continue;
      }
      if (heading < plan_.headings.size() && plan_.headings[heading].first == index) {
        r = NextPage(&plan_.headings[heading++].second, true);
        if (r != KAV_OK || cancelled_) return r;
        continue;
      }
      // Blank lines before the first heading make no page of their own.
      if (!open_ && chapters) continue;
      if (onPage_ >= kLinesPerPage) {
        r = NextPage(nullptr, !chapters);
        if (r != KAV_OK || cancelled_) return r;
      }
      ++onPage_;
      r = epub_->AddTextLineToPage(chunks.text());
      if (r != KAV_OK) return r;
    }
    if (!open_) return epub_->StartPage();  // a book of blank lines: one empty page
    return KAV_OK;
  }

  int NextPage(const std::string* label, bool listed) {
    int r = KAV_OK;
    if (open_) r = epub_->EndPage();
    if (r == KAV_OK) r = epub_->StartPage();
    if (r == KAV_OK && label != nullptr) r = epub_->SetPageHeading(label->c_str());
    if (r == KAV_OK && !listed) r = epub_->SetPageListed(false);
    if (r != KAV_OK) return r;
    open_ = true;
    onPage_ = 0;
    ++page_;
    Cancel();
    return KAV_OK;
  }

  bool Cancel() {
    cancelled_ = IsCancel(ReportProgress(progress_, user_, page_, plan_.pages + 1));
    return cancelled_;
  }

  EpubBase* epub_;
  const TextPlan& plan_;
  const std::string title_;
  void* user_;
  ProgressCallback progress_;
  int page_ = 0;
  int onPage_ = 0;
  bool open_ = false;
  bool cancelled_ = false;
};

int ConvertUtf8(const std::string& text, const char* txtPath, const char* epubPath,
                const char* workDir, const KavBookOptions& options, void* user,
                ProgressCallback progress) {
  const std::string chapters = options.Get("chapters", kAuto);
  ChapterFinder finder;
  if (chapters != kOff &&
      finder.Compile(chapters == kAuto ? "" : chapters, nullptr, nullptr) != 0) {
    return KAV_ERR_BAD_PATTERN;
  }
  const bool accessible = options.Get("accessibility", "off") == "on";
  std::string title = options.Get("title", FileStem(txtPath));
  // An accessible book's title is never empty: the file's name stands in.
  if (accessible && kav_builder::PlainText(title).empty()) title = FileStem(txtPath);
  EpubBase epub;
  int r = epub.Init(workDir, title.c_str(), options.Get("author", "").c_str());
  if (r == KAV_OK && accessible) r = epub.SetAccessible(true);
  TextPlan plan;
  if (r == KAV_OK) r = PlanText(text, chapters == kOff ? nullptr : &finder, &plan);
  std::string language = options.Get("language", kAuto);
  if (language == kAuto) language = GuessLanguage(plan.sample.data(), plan.sample.size());
  if (r == KAV_OK) r = epub.SetLanguage(language.c_str());
  if (r == KAV_OK && accessible) {
    kav_builder::BookAccess access = kav_builder::BookAccessOf(&epub);
    access.conformsTo = options.Get("conforms-to", "");
    kav_builder::SetBookAccess(&epub, access);
  }
  if (r == KAV_OK && !options.Get("cover", "").empty()) {
    r = epub.AddCoverImageToEpub(options.Get("cover", "").c_str());
  }
  BookWriter writer(&epub, plan, title, user, progress);
  if (r == KAV_OK) r = writer.Write(text, epubPath);
  epub.ClearData();
  return r;
}

}  // namespace

std::string FileStem(const std::string& path) {
  const size_t slash = path.find_last_of("/\\");
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.erase(dot);
  return name;
}

int CheckBookOption(const std::string& name, const std::string& value) {
  if (name == "title" || name == "author" || name == "cover") return KAV_OK;
  if (name == "language") {
    return value == kAuto || IsLanguageTag(value.c_str()) ? KAV_OK : KAV_ERR_BAD_LANGUAGE;
  }
  if (name == "chapters") {
    if (value == kAuto || value == kOff) return KAV_OK;
    ChapterFinder finder;
    return finder.Compile(value, nullptr, nullptr);
  }
  if (name == "encoding") return value.empty() ? KAV_ERR_BAD_OPTION : KAV_OK;
  if (name == "accessibility") {
    return value == "on" || value == "off" || value.empty() ? KAV_OK : KAV_ERR_BAD_OPTION;
  }
  if (name == "mobi-layout") return value == "pages" || value == "single" || value.empty() ? KAV_OK : KAV_ERR_BAD_OPTION;
  if (name == "conforms-to") return value == kav_builder::PlainText(value) ? KAV_OK : KAV_ERR_BAD_OPTION;
  return KAV_ERR_UNKNOWN_OPTION;
}

int ConvertTextBook(const char* txtPath, const char* epubPath, const char* workDir,
                    const KavBookOptions* options, void* user, ProgressCallback progress) {
  if (KavIsStrNullOrEmpty(txtPath) != 0 || KavIsStrNullOrEmpty(epubPath) != 0 ||
      KavIsFileOrDirExists(workDir) == 0) {
    return KAV_ERR_ARGUMENT;
  }
  char* outputDir = KavGetRunDirectory(epubPath);
  const bool outputDirExists = KavIsFileOrDirExists(outputDir) != 0;
  free(outputDir);
  if (!outputDirExists) return KAV_ERR_NO_OUTPUT_DIR;

  const KavBookOptions none;
  const KavBookOptions& chosen = options != nullptr ? *options : none;
  const std::string encoding = chosen.Get("encoding", kAuto);
  // Beside the builder's own folder, which it wipes.
  const std::string copy = std::string(workDir) + "/kav_text_utf8.txt";
  std::string text;
  TextProblem problem;
  int r = PrepareUtf8Text(txtPath, encoding == kAuto ? "" : encoding, copy, nullptr, nullptr, &text,
                          &problem);
  if (r == KAV_OK) r = ConvertUtf8(text, txtPath, epubPath, workDir, chosen, user, progress);
  remove(copy.c_str());
  return r;
}

}  // namespace kav_convert
