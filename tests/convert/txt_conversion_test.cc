#include <algorithm>
#include <tuple>
#include <utility>

#include "convert/epub_management.h"
#include "progress_log.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

std::string Repeat(const std::string& text, int count) {
  std::string out;
  while (count-- > 0) out += text;
  return out;
}

class TxtConversionTest : public ::testing::Test {
 protected:
  // Converts text saved as book.txt; keeps the book's pages and whether the workspace outlived it.
  int Convert(const std::string& text, ProgressLog* log, const char* txtPath, const char* epubPath,
              const char* root) {
    kavtest::WriteFile(txt, text);
    EpubManagement converter;
    converter.Init(root, "", "");
    int result = converter.TXT2Epub(txtPath, epubPath, log, log ? ProgressLog::Record : nullptr);
    workLeft = kavtest::Exists(tmp / "epub_temp");
    converter.ClearData();
    pages.clear();
    if (!kavtest::Exists(epub)) return result;
    for (const auto& entry : kavtest::ReadZip(epub)) {
      if (entry.name.rfind("OEBPS/page-", 0) == 0) pages.push_back(entry.data);
    }
    remove(epub.c_str());
    return result;
  }
  kavtest::TempDir tmp;
  std::string txt = tmp / "book.txt", epub = tmp / "book.epub";
  const char *t = txt.c_str(), *e = epub.c_str(), *root = tmp.path().c_str();
  bool workLeft = true;
  std::vector<std::string> pages;  // empty: no book
};

// A page is sixty lines as fgets reads them, at most 254 bytes each; a report
// comes at each page's start and, with the book written, one more.
TEST_F(TxtConversionTest, CountsSixtyFgetsChunksAPageAndReportsEachPageAndTheBook) {
  const std::string x600 = Repeat("x", 600) + "\n";
  const std::pair<std::string, int> cases[] = {
      {"", 0},
      {"no line feed", 1},
      {x600, 1},  // 254 + 254 + 93, kept whole in its paragraph
      {Repeat("a\n", 60), 1},
      {Repeat("a\n", 60) + "z", 2},
      {Repeat("a\n", 59) + Repeat("x", 253) + "\n", 1},  // 254 bytes: one chunk
      {Repeat("a\n", 59) + Repeat("x", 254) + "\n", 2},  // the line feed is a chunk of its own
      {Repeat("a\n", 58) + x600, 2}};
  for (const auto& [text, pageCount] : cases) {
    ProgressLog log;
    ASSERT_CODE(KAV_OK, Convert(text, &log, t, e, root));
    Reports reports;
    for (int done = 1; done <= pageCount + 1; ++done) reports.emplace_back(done, pageCount + 1);
    EXPECT_EQ(std::make_pair(reports, false), std::make_pair(log.calls, workLeft)) << text.size();
    ASSERT_EQ(std::max(pageCount, 1), static_cast<int>(pages.size()));
    EXPECT_NE(std::string::npos, pages[0].find(text.substr(0, text.find('\n'))));
  }
  EXPECT_EQ(0, GetPageNumForTXT((tmp / "missing").c_str()));
  EXPECT_EQ(0, GetPageNumForTXT(root));  // a directory ends, not loops
}

TEST_F(TxtConversionTest, OnlyMinusTwoBeforeTheLastReportCancels) {
  // {cancelAt, answer, reports made, book written}
  const std::tuple<int, int, size_t, bool> cases[] = {
      {1, 0, 1, false}, {2, 0, 2, false}, {3, 0, 3, true}, {-1, -1, 3, true}, {-1, -3, 3, true}};
  for (const auto& [cancelAt, answer, reports, book] : cases) {
    ProgressLog log{cancelAt, answer};
    EXPECT_CODE(KAV_OK, Convert(Repeat("a line\n", 61), &log, t, e, root));
    EXPECT_EQ(std::make_tuple(reports, book, false),
              std::make_tuple(log.calls.size(), !pages.empty(), workLeft));
  }
}

size_t Count(const std::vector<std::string>& pages, const std::string& needle) {
  size_t count = 0;
  for (const std::string& page : pages) {
    for (size_t at = page.find(needle); at != std::string::npos; at = page.find(needle, at + 1)) {
      ++count;
    }
  }
  return count;
}

// A character that a chunk cuts off is kept whole: on the next page when
// the chunk is a page's last, in the next paragraph when the next chunk
// begins one (a run of three spaces). The long line starts on a page's
// sixtieth chunk and runs past the next page boundary too; the padding moves
// the cut through every byte of a 2-, 3- and 4-byte character.
TEST_F(TxtConversionTest, KeepsEveryCharacterThatAChunkCuts) {
  for (const std::string character : {"\u00e9", "\u4e2d", "\U0001F600"}) {
    for (int pad = 249; pad <= 254; ++pad) {
      const std::pair<std::string, size_t> texts[] = {
          {Repeat("a\n", 59) + Repeat("x", pad) + Repeat(character, 6000) + "\nend\n", 6000},
          {Repeat(Repeat("x", pad) + character + "   new paragraph\n", 40), 40}};
      for (const auto& [text, count] : texts) {
        ASSERT_CODE(KAV_OK, Convert(text, nullptr, t, e, root));
        EXPECT_EQ(std::make_pair(count, size_t{0}),
                  std::make_pair(Count(pages, character), Count(pages, "\uFFFD")))
            << character.size() << " bytes, pad " << pad << ", " << text.substr(pad, 8);
      }
    }
  }
}

TEST_F(TxtConversionTest, BadArgumentsGiveTheirCodes) {
  const std::string missing = tmp / "missing", lost = missing + "/b.epub";
  // {txt, epub, root, code, builder's directory laid out}
  const std::tuple<const char*, const char*, const char*, int, bool> cases[] = {
      {t, "", root, KAV_ERR_ARGUMENT, false},
      {t, nullptr, root, KAV_ERR_ARGUMENT, false},
      {"", e, root, KAV_ERR_ARGUMENT, false},
      {nullptr, e, root, KAV_ERR_ARGUMENT, false},
      {t, lost.c_str(), root, KAV_ERR_NO_OUTPUT_DIR, false},
      {missing.c_str(), e, root, KAV_ERR_OPEN, true},
      {root, e, root, KAV_ERR_OPEN, false},
      {t, e, missing.c_str(), KAV_ERR_MISSING, false}};
  for (const auto& [txtPath, epubPath, workDir, code, laidOut] : cases) {
    EXPECT_CODE(code, Convert("a line\n", nullptr, txtPath, epubPath, workDir)) << code;
    EXPECT_EQ(std::make_pair(laidOut, true), std::make_pair(workLeft, pages.empty())) << code;
  }
}

}  // namespace
