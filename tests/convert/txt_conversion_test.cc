#include <gtest/gtest.h>

#include <tuple>

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

TEST(GetPageNumForTXT, CountsSixtyFgetsChunksAPage) {
  const std::pair<std::string, int> cases[] = {
      {"", 0},
      {"no line feed", 1},
      {Repeat("a\n", 60), 1},
      {Repeat("a\n", 60) + "z", 2},
      {Repeat("a\n", 59) + Repeat("x", 253) + "\n", 1},  // 254 bytes: one chunk
      {Repeat("a\n", 59) + Repeat("x", 254) + "\n", 2},  // the line feed is a chunk of its own
      {Repeat("a\n", 58) + Repeat("x", 600) + "\n", 2},  // 254 + 254 + 93
  };
  kavtest::TempDir tmp;
  for (const auto& [text, pages] : cases) {
    kavtest::WriteFile(tmp / "t.txt", text);
    EXPECT_EQ(pages, GetPageNumForTXT((tmp / "t.txt").c_str())) << text.size() << " bytes";
  }
  EXPECT_EQ(0, GetPageNumForTXT((tmp / "missing").c_str()));
  EXPECT_EQ(0, GetPageNumForTXT(tmp.path().c_str()));  // a directory ends, not loops
}

class TxtConversionTest : public ::testing::Test {
 protected:
  // Converts txtPath after writing text to book.txt; notes whether the builder's
  // working directory outlived the conversion, before the caller's ClearData.
  int Convert(const char* text, ProgressLog* log, const char* txtPath, const char* epubPath,
              const char* root) {
    kavtest::WriteFile(txt, text);
    EpubManagement converter;
    converter.Init(root, "", "");
    int result = converter.TXT2Epub(txtPath, epubPath, log, log ? ProgressLog::Record : nullptr);
    workLeft = kavtest::Exists(tmp / "epub_temp");
    converter.ClearData();
    return result;
  }
  int Convert(const std::string& text, ProgressLog* log) {
    return Convert(text.c_str(), log, txt.c_str(), epub.c_str(), tmp.path().c_str());
  }
  std::vector<std::string> Pages() {
    std::vector<std::string> pages;
    for (const auto& entry : kavtest::ReadZip(epub)) {
      if (entry.name.rfind("OEBPS/page-", 0) == 0) pages.push_back(entry.data);
    }
    return pages;
  }

  kavtest::TempDir tmp;
  std::string txt = tmp / "book.txt", epub = tmp / "book.epub";
  bool workLeft = true;
};

TEST_F(TxtConversionTest, ReportsEachPageStartAndTheFinishedBook) {
  const std::string line600 = std::string(600, 'x') + "\n";
  const std::tuple<std::string, Reports, size_t> cases[] = {
      {"", {{1, 1}}, 1},
      {Repeat("a line\n", 60), {{1, 2}, {2, 2}}, 1},
      {Repeat("a line\n", 61), {{1, 3}, {2, 3}, {3, 3}}, 2},
      {line600, {{1, 2}, {2, 2}}, 1},
  };
  for (const auto& [text, reports, pages] : cases) {
    ProgressLog log;
    ASSERT_CODE(KAV_OK, Convert(text, &log));
    EXPECT_EQ(reports, log.calls);
    EXPECT_EQ(pages, Pages().size());
    EXPECT_FALSE(workLeft);
  }
  EXPECT_NE(std::string::npos, Pages()[0].find(line600.substr(0, 600)));
}

TEST_F(TxtConversionTest, OnlyMinusTwoBeforeTheLastReportCancels) {
  // {cancelAt, answer, reports made, book written}
  const std::tuple<int, int, size_t, bool> cases[] = {
      {1, 0, 1, false}, {2, 0, 2, false}, {3, 0, 3, true}, {-1, -1, 3, true}, {-1, -3, 3, true}};
  for (const auto& [cancelAt, answer, reports, book] : cases) {
    ProgressLog log{cancelAt, answer};
    EXPECT_CODE(KAV_OK, Convert(Repeat("a line\n", 61), &log));
    EXPECT_EQ(reports, log.calls.size());
    EXPECT_EQ(book, kavtest::Exists(epub));
    EXPECT_FALSE(workLeft);
    remove(epub.c_str());
  }
}

TEST_F(TxtConversionTest, BadArgumentsGiveTheirCodes) {
  const std::string missing = tmp / "missing", lost = missing + "/b.epub";
  const char *t = txt.c_str(), *e = epub.c_str(), *root = tmp.path().c_str();
  // {txt, epub, root, code, builder's directory laid out}
  const std::tuple<const char*, const char*, const char*, int, bool> cases[] = {
      {t, "", root, KAV_ERR_ARGUMENT, false},
      {t, nullptr, root, KAV_ERR_ARGUMENT, false},
      {"", e, root, KAV_ERR_ARGUMENT, false},
      {nullptr, e, root, KAV_ERR_ARGUMENT, false},
      {t, lost.c_str(), root, KAV_ERR_NO_OUTPUT_DIR, false},
      {missing.c_str(), e, root, KAV_ERR_OPEN, true},
      {root, e, root, KAV_ERR_OPEN, false},
      {t, e, missing.c_str(), KAV_ERR_MISSING, false},
  };
  for (const auto& [txtPath, epubPath, workDir, code, laidOut] : cases) {
    EXPECT_CODE(code, Convert("a line\n", nullptr, txtPath, epubPath, workDir)) << code;
    EXPECT_EQ(laidOut, workLeft) << code;
    EXPECT_FALSE(kavtest::Exists(epub));
  }
}

}  // namespace
