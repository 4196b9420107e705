// Real MOBI books (made by an independent tool) converted through the C
// record, whole and with their indices or text records damaged
// (tests/data/mobi/damage.py).

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/book_checks.h"
#include "platform/mobi/kav_mobi.h"
#include "service/kav_epub_ext.h"

namespace {

using kave2e::Strings;
using kave2e::XPathTexts;

const std::string kFixtures = "tests/data/mobi/";

int Convert(const std::string& mobi, const kavtest::TempDir& dir, const std::string& epub,
            bool accessible = false) {
  kavtest::MakeDirs(dir / "work");
  TEpubService* service = CreateEpubService();
  if (accessible) {
    EXPECT_EQ(0, KavEpubSetAccessible(service, 1));
  }
  const int code =
      service->Mobi2Epub(mobi.c_str(), epub.c_str(), (dir / "work").c_str(), nullptr, nullptr);
  FreeEpubService(service);
  return code;
}

// The words of a book's first page, in order.
Strings PageWords(const std::string& epub) {
  Strings words;
  for (const std::string& text :
       XPathTexts(kave2e::ReadBook(epub)["OEBPS/page-1.html"].data, "//x:body//text()")) {
    std::istringstream in(text);
    for (std::string word; in >> word;) words.push_back(word);
  }
  return words;
}

class MobiBook : public ::testing::TestWithParam<std::string> {};

// The reader's own tests check the metadata and text of each fixture, the
// converter's its reports; here they must come together in a book that
// resolves and passes.
TEST_P(MobiBook, ConvertsWithItsTitleCoverAndPicturesIntoACheckedBook) {
  std::map<std::string, std::string> expect;  // "key=value" lines
  for (const std::string& line :
       kavtest::Lines(kavtest::ReadFile(kFixtures + GetParam() + ".expect"))) {
    size_t eq = line.find('=');
    if (eq != std::string::npos) expect[line.substr(0, eq)] = line.substr(eq + 1);
  }
  kavtest::TempDir dir;
  const std::string epub = dir / "book.epub";
  ASSERT_CODE(0, Convert(kFixtures + GetParam() + ".mobi", dir, epub));
  EXPECT_EQ(kave2e::Strings{"book.epub"}, kavtest::ListFiles(dir.path()))
      << "working and scratch files are removed";

  auto book = kave2e::ReadBook(epub);
  const std::string& opf = book["OEBPS/content.opf"].data;
  EXPECT_EQ((Strings{expect["title"], expect["author"]}),
            XPathTexts(opf, "//dc:title | //dc:creator"));
  bool hasCover = expect["cover"] == "yes";
  Strings coverImage = XPathTexts(opf, "//opf:item[@id='cover-image']/@href");
  ASSERT_EQ(hasCover ? 1u : 0u, coverImage.size());
  if (hasCover) {
    EXPECT_EQ(1u, book.count("OEBPS/" + coverImage[0])) << coverImage[0];
    EXPECT_EQ(coverImage, XPathTexts(book["OEBPS/cover.html"].data, "//@*[name()='xlink:href']"));
  }
  const std::string& page = book["OEBPS/page-1.html"].data;
  Strings pictures = XPathTexts(page, "//x:img/@src");
  if (GetParam().rfind("lantern", 0) == 0) {
    EXPECT_EQ(2u, pictures.size()) << "the lantern books show two figures";
    // Text in several scripts decoded as UTF-8, and the KF8 books' link to
    // the storm chapter resolved (a link to no id would be a span now).
    for (const char* words :
         {"Jürgen", "Grünwald", "灯塔守护者", "Sturm; Fenster geöffnet", "Ende — 终"}) {
      EXPECT_NE(std::string::npos, page.find(words)) << words;
    }
    EXPECT_EQ(GetParam() != "lantern_mobi6", page.find("href=\"#storm\"") != std::string::npos);
  }
  for (const std::string& src : pictures) EXPECT_EQ(1u, book.count("OEBPS/" + src)) << src;

  // The same book made accessible: every page in the book's language (the
  // one its header declares) with a title of its own, the KF8 books' alt
  // texts carried over (calibre's MOBI 6 keeps none), imported content's
  // hazard not judged, and the summary whole.
  ASSERT_CODE(0, Convert(kFixtures + GetParam() + ".mobi", dir, epub, true));
  book = kave2e::ReadBook(epub);
  const std::string& accessible = book["OEBPS/content.opf"].data;
  EXPECT_EQ(Strings{"en"}, XPathTexts(accessible, "//dc:language"));
  for (const auto& [name, entry] : book) {
    if (name.size() < 5 || name.compare(name.size() - 5, 5, ".html") != 0) continue;
    const Strings access = XPathTexts(entry.data, "/x:html/@xml:lang | //x:title");
    ASSERT_EQ(2u, access.size()) << name;
    EXPECT_EQ("en", access[0]) << name;
    const std::string stem = name.substr(6, name.size() - 11);  // OEBPS/stem.html
    EXPECT_NE(stem, access[1]) << "a title of its own, not the file's name";
  }
  const bool described = GetParam() == "lantern_kf8" || GetParam() == "lantern_joint";
  const Strings summary =
      XPathTexts(accessible, "//opf:meta[@name='schema:accessibilitySummary']/@content");
  ASSERT_EQ(1u, summary.size());
  EXPECT_EQ(described, summary[0].find("3 pictures, 2 of them with a description") !=
                           std::string::npos)
      << summary[0];
  EXPECT_EQ("claimed.", summary[0].substr(summary[0].size() - 8));
  EXPECT_EQ(Strings{"unknown"},
            XPathTexts(accessible, "//opf:meta[@name='schema:accessibilityHazard']/@content"));
  // epubcheck reads the accessible book, which holds the plain one and more.
  Strings allowed = {"HTM-004", "NCX-001", "OPF-085"};
  if (!hasCover) allowed.push_back("RSC-005");
  kave2e::ExpectOnlyFindings(epub, allowed);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, MobiBook,
                         ::testing::Values("lantern_mobi6", "lantern_kf8", "lantern_joint",
                                           "plain_mobi6", "special_title_mobi6"));

// How many words of a stay in b, in order (longest common subsequence).
size_t WordsKept(const Strings& a, const Strings& b) {
  std::vector<size_t> row(b.size() + 1, 0), next(b.size() + 1, 0);
  for (const std::string& word : a) {
    for (size_t j = 0; j < b.size(); ++j)
      next[j + 1] = word == b[j] ? row[j] + 1 : std::max(row[j + 1], next[j]);
    row.swap(next);
  }
  return row[b.size()];
}

// A damaged book whose text records still decompress converts with its text
// in order, its pictures and its cover, like the whole book it was made from
// (tests/data/mobi/damage.py). Lost indices lose no word; a text record that
// starts early loses the few bytes around the seam.
TEST(DamagedMobiBook, ConvertsWithTheWholeBooksTextPicturesAndCover) {
  struct Case {
    const char* damaged;
    const char* whole;
    size_t wordsLost;
  };
  for (const Case& c : {Case{"skeleton_lantern_kf8", "lantern_kf8", 0},
                        Case{"fragment_lantern_kf8", "lantern_kf8", 0},
                        Case{"fragment_lantern_joint", "lantern_joint", 0},
                        Case{"ncx_lantern_kf8", "lantern_kf8", 0},
                        Case{"text-offset_lantern_kf8", "lantern_kf8", 2},
                        Case{"text-offset_special_title_mobi6", "special_title_mobi6", 2}}) {
    SCOPED_TRACE(c.damaged);
    kavtest::TempDir dir;
    const std::string epub = dir / "damaged.epub", reference = dir / "whole.epub";
    ASSERT_CODE(0, Convert(kFixtures + "damaged/" + c.damaged + ".mobi", dir, epub));
    ASSERT_CODE(0, Convert(kFixtures + c.whole + ".mobi", dir, reference));
    const Strings words = PageWords(epub), wholeWords = PageWords(reference);
    EXPECT_GT(wholeWords.size(), 100u);
    if (c.wordsLost == 0) {
      EXPECT_EQ(wholeWords, words);
    }
    EXPECT_GE(WordsKept(wholeWords, words) + c.wordsLost, wholeWords.size());
    EXPECT_LE(words.size(), wholeWords.size() + c.wordsLost);

    auto book = kave2e::ReadBook(epub);
    const std::string& opf = book["OEBPS/content.opf"].data;
    auto wholeBook = kave2e::ReadBook(reference);
    const std::string& wholeOpf = wholeBook["OEBPS/content.opf"].data;
    const char* metadata = "//dc:title | //dc:creator | //opf:item[@id='cover-image']/@href";
    EXPECT_EQ(XPathTexts(wholeOpf, metadata), XPathTexts(opf, metadata));
    Strings pictures = XPathTexts(book["OEBPS/page-1.html"].data, "//x:img/@src");
    EXPECT_EQ(XPathTexts(wholeBook["OEBPS/page-1.html"].data, "//x:img/@src").size(),
              pictures.size());
    for (const std::string& src : pictures) EXPECT_EQ(1u, book.count("OEBPS/" + src)) << src;
    Strings allowed = {"HTM-004", "NCX-001", "OPF-085"};
    if (XPathTexts(opf, "//opf:item[@id='cover-image']").empty()) allowed.push_back("RSC-005");
    kave2e::ExpectOnlyFindings(epub, allowed);
  }
  // With its text records destroyed too, nothing is left to read.
  kavtest::TempDir dir;
  EXPECT_CODE(KAV_MOBI_ERR_NO_TEXT,
              Convert(kFixtures + "invalid/no-text_lantern_kf8.mobi", dir, dir / "none.epub"));
  EXPECT_FALSE(std::ifstream(dir / "none.epub").good());
}

}  // namespace
