#include <gmock/gmock.h>
#include <string.h>

#include "convert/epub_management.h"
#include "platform/mobi/kav_mobi.h"
#include "progress_log.h"
#include "service/kav_result.h"
#include "support/test_support.h"

// A scripted stand-in for libKav_Mobi, which this program does not link: the
// converter's calls to CreateMobiService and FreeMobiService land at the end.
namespace {

// A null cover: the book has none; writeCover false: the named file is missing.
struct Script {
  int openResult = 0;
  const char *title = "Stand-in Title", *cover = "cover.png";
  bool writeCover = true;
  const char *language = nullptr, *text = "One.";  // the declared language and the words
  int created = 0, closed = 0, freed = 0;  // the calls seen
} script;

int Open(void*, const char*) { return script.openResult; }
void Close(void*) { ++script.closed; }
int ExtractHtml(void*, const char* path) {
  kavtest::WriteFile(path, std::string("<html><head><title>t</title></head><body><p>") +
                               script.text + "</p></body></html>");
  std::string dir(path, strrchr(path, '/') + 1);
  if (script.cover != nullptr && script.writeCover) kavtest::WriteFile(dir + script.cover, "PNG");
  return 0;
}
char* GetTitle(void*) { return script.title != nullptr ? strdup(script.title) : nullptr; }
char* GetCover(void*) { return script.cover != nullptr ? strdup(script.cover) : nullptr; }
void SetReadToc(void*, int) {}
int GetToc(void*, TMobiTocEntry** entries, size_t* count, size_t* flawed) {
  *entries = nullptr;
  *count = 0;
  if (flawed != nullptr) *flawed = 0;
  return 0;
}
void FreeToc(TMobiTocEntry*, size_t) {}
const Reports kAllReports = {{1, 10}, {6, 10}, {7, 10}, {8, 10}, {9, 10}, {10, 10}};

class MobiConversionTest : public ::testing::Test {
 protected:
  // Runs one conversion; the working files are read before ClearData removes them.
  int Convert(const Script& next, ProgressLog* log, const char* output = nullptr) {
    script = next;
    EpubManagement converter;
    converter.Init(tmp.path().c_str(), "", "");
    int r = converter.Mobi2Epub("b.mobi", output ? output : epub.c_str(), log, ProgressLog::Record);
    css = kavtest::ReadFile(tmp / "epub_temp/epub/OEBPS/main.css");
    hasCover = kavtest::Exists(tmp / "epub_temp/epub/OEBPS/cover.html");
    converter.ClearData();
    return r;
  }
  kavtest::TempDir tmp;
  std::string epub = tmp / "book.epub", css;
  bool hasCover = false;
};

TEST_F(MobiConversionTest, ConvertsWithSixReportsReleasingTheReaderBeforeTheImport) {
  const std::string rule =
      "p { display: block; \n margin-bottom: 0; \nmargin-left: 0; \n"
      "margin-right: 0; \nmargin-top: 0; \ntext-indent: 1em }";
  // The book's own title and cover, no cover, a missing cover file, no title.
  for (const Script& next : {Script{}, Script{0, "Stand-in Title", nullptr},
                             Script{0, "Stand-in Title", "c.png", false}, Script{0, nullptr}}) {
    ProgressLog log;
    log.probe = [](int done) { EXPECT_EQ(done >= 8 ? 1 : 0, script.freed) << done; };
    ASSERT_CODE(KAV_OK, Convert(next, &log));
    EXPECT_EQ(kAllReports, log.calls);
    EXPECT_EQ(next.cover != nullptr && next.writeCover, hasCover);
    EXPECT_THAT(css, ::testing::AllOf(::testing::StartsWith("body {"), ::testing::EndsWith(rule)));
    std::string packed;
    for (const auto& entry : kavtest::ReadZip(epub)) packed += entry.data;
    EXPECT_EQ(next.title != nullptr, packed.find("Stand-in Title") != std::string::npos);
  }
}

// An accessible book's pages are in the language the book declares, written
// as BCP 47 writes it, else in the one its text is guessed to be in.
TEST_F(MobiConversionTest, AccessibleBooksTakeTheDeclaredLanguageElseAGuess) {
  const struct {
    const char *declared, *text, *language;
  } cases[] = {
      {"en-us", "One.", "en-US"},
      {"de", "从前有一座山，山上有一座庙。", "de"},
      {nullptr, "从前有一座山，山上有一座庙。", "zh"},
      {"not a tag", "从前有一座山，山上有一座庙。", "zh"},
  };
  for (const auto& c : cases) {
    Script next;
    next.language = c.declared;
    next.text = c.text;
    script = next;
    EpubManagement converter;
    converter.Init(tmp.path().c_str(), "", "");
    MobiAccess access;
    access.on = true;
    access.conformsTo = "EPUB Accessibility 1.1";  // a host's claim is carried
    ASSERT_CODE(KAV_OK, converter.Mobi2Epub("b.mobi", epub.c_str(), nullptr, nullptr, access));
    converter.ClearData();
    std::string page, opf;
    for (const auto& entry : kavtest::ReadZip(epub)) {
      if (entry.name == "OEBPS/page-1.html") page = entry.data;
      if (entry.name == "OEBPS/content.opf") opf = entry.data;
    }
    EXPECT_NE(std::string::npos,
              opf.find("name=\"dcterms:conformsTo\" content=\"EPUB Accessibility 1.1\""))
        << opf;
    EXPECT_NE(std::string::npos, page.find(std::string(" xml:lang=\"") + c.language + "\""))
        << c.language << page;
  }
}

TEST_F(MobiConversionTest, FailuresBeforeTheFirstReport) {
  ProgressLog log;
  EXPECT_CODE(KAV_ERR_NO_OUTPUT_DIR, Convert(Script(), &log, (tmp / "missing/book.epub").c_str()));
  EXPECT_EQ(0, script.created);
  EXPECT_CODE(623, Convert(Script{623}, &log));  // the reader's own code, reader released
  EXPECT_EQ(1, script.freed);
  EXPECT_TRUE(log.calls.empty());
}

TEST_F(MobiConversionTest, CancelBeforeTheLastReportEndsWithSuccessAndNoBook) {
  for (size_t stop = 0; stop < kAllReports.size(); ++stop) {
    ProgressLog log{kAllReports[stop].first};
    EXPECT_CODE(KAV_OK, Convert(Script(), &log));
    EXPECT_EQ(Reports(kAllReports.begin(), kAllReports.begin() + stop + 1), log.calls);
    EXPECT_EQ(1, script.freed);
    EXPECT_EQ(stop + 1 == kAllReports.size(), kavtest::Exists(epub)) << log.cancelAt;
    remove(epub.c_str());
  }
}

}  // namespace

TMobiService* CreateMobiService(void) {
  ++script.created;
  return new TMobiService{nullptr, Open,    Close,      ExtractHtml, GetTitle, GetTitle,
                          GetCover, SetReadToc, GetToc,     FreeToc};
}

char* KavMobiGetLanguage(TMobiService*) {
  return script.language != nullptr ? strdup(script.language) : nullptr;
}

void FreeMobiService(TMobiService* service) {
  EXPECT_EQ(script.closed, script.freed + 1) << "closed once before being freed";
  ++script.freed;
  delete service;
}
