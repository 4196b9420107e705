// Real MOBI books (made by an independent tool, and by our own writer:
// tests/data/mobi/make_books.py) converted through the C record, whole and
// with their indices or text records damaged (tests/data/mobi/damage.py) or
// their NCX index wrong.

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
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

// KavEpubConvertMobi with mobi-layout (null: the default); *flaws as it reports them.
int ConvertMobi(const std::string& mobi, const kavtest::TempDir& dir, const std::string& epub,
                const char* layout, size_t* flaws = nullptr) {
  kavtest::MakeDirs(dir / "work");
  KavBookOptions* options = KavOptionsCreate();
  if (layout != nullptr) KavOptionsSet(options, "mobi-layout", layout);
  const int code = KavEpubConvertMobi(mobi.c_str(), epub.c_str(), (dir / "work").c_str(), options,
                                      nullptr, nullptr, flaws);
  KavOptionsFree(options);
  return code;
}

// The words of a book's pages in reading order (the first page only with firstOnly).
Strings PageWords(const std::string& epub, bool firstOnly = true) {
  auto book = kave2e::ReadBook(epub);
  const std::string& opf = book["OEBPS/content.opf"].data;
  Strings pages = {"page-1.html"};
  if (!firstOnly) {
    pages.clear();
    for (const std::string& ref : XPathTexts(opf, "//opf:itemref/@idref")) {
      for (const std::string& href :
           XPathTexts(opf, "//opf:item[@id='" + ref + "' and starts-with(@href, 'page-')]/@href")) {
        pages.push_back(href);
      }
    }
  }
  Strings words;
  for (const std::string& page : pages) {
    for (const std::string& text : XPathTexts(book["OEBPS/" + page].data, "//x:body//text()")) {
      std::istringstream in(text);
      for (std::string word; in >> word;) words.push_back(word);
    }
  }
  return words;
}

// The labels of a book's table of contents in reading order, each point's target checked:
// a page of the book holding an element with the point's id.
Strings CheckedToc(const std::string& epub) {
  auto book = kave2e::ReadBook(epub);
  const std::string& ncx = book["OEBPS/toc.ncx"].data;
  const Strings srcs = XPathTexts(ncx, "//ncx:navPoint/ncx:content/@src");
  for (const std::string& src : srcs) {
    const size_t hash = src.find('#');
    const std::string page = "OEBPS/" + src.substr(0, hash);
    EXPECT_EQ(1u, book.count(page)) << src;
    if (hash != std::string::npos && book.count(page) != 0) {
      EXPECT_EQ(1u, XPathTexts(book[page].data, "//*[@id='" + src.substr(hash + 1) + "']").size())
          << src;
    }
  }
  const Strings orders = XPathTexts(ncx, "//ncx:navPoint/@playOrder");
  for (size_t i = 1; i < orders.size(); ++i) {
    EXPECT_LE(std::stoi(orders[i - 1]), std::stoi(orders[i])) << "play order follows the text";
  }
  return XPathTexts(ncx, "//ncx:navPoint/ncx:navLabel/ncx:text");
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
  // The written books number their sentences s1, s2, ...: every word stays,
  // the numbered ones in order.
  if (expect.count("words") != 0) {
    const Strings words = PageWords(epub);
    EXPECT_EQ(std::stoul(expect["words"]), words.size());
    Strings numbered, expected;
    for (const std::string& word : words)
      if (word.size() > 1 && word[0] == 's' && std::isdigit(static_cast<unsigned char>(word[1])))
        numbered.push_back(word);
    for (size_t n = 1; n <= std::stoul(expect["sentences"]); ++n)
      expected.push_back("s" + std::to_string(n));
    EXPECT_TRUE(numbered == expected) << numbered.size() << " of " << expected.size();
  }

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

// In pages: the book's own table of contents (its labels as calibre wrote them from the
// source's headings; a book without one, its page breaks), every target in place, every
// word of the single page kept in order; mobi-layout single is Mobi2Epub's book, byte for
// byte.
TEST_P(MobiBook, InPagesWithItsOwnTableOfContentsAndEveryWord) {
  // A book's own table as its .expect file lists it ("toc=LEVEL label"), else as its
  // source makes it.
  std::map<std::string, Strings> labels = {
      {"lantern", {"Chapter 1: The Island", "Chapter 2: The Logbook", "the storm table"}},
      {"plain_mobi6", {"Chapter One", "Chapter Two", "Chapter Three"}},
      {"special_title_mobi6", {"1", "2", "3", "4", "5"}},
      {"no-ncx_mobi6", {"Chapter 1", "Chapter 2", "Section 2.1", "Section 2.2", "Chapter 3"}},
      {"no-headings_mobi6", {"1", "2", "3", "4"}}};
  Strings nested;  // the labels below the top level
  for (const std::string& line : kavtest::Lines(kavtest::ReadFile(kFixtures + GetParam() + ".expect"))) {
    if (line.rfind("toc=", 0) != 0) continue;
    const std::string label = line.substr(line.find(' ') + 1);
    labels[GetParam()].push_back(label);
    if (line.compare(0, 6, "toc=0 ") != 0) nested.push_back(label);
  }
  kavtest::ScopedEnv epoch("SOURCE_DATE_EPOCH", "1700000000");
  kavtest::TempDir dir;
  const std::string mobi = kFixtures + GetParam() + ".mobi";
  const std::string pages = dir / "pages.epub", single = dir / "single.epub";
  size_t flaws = 99;
  ASSERT_CODE(0, ConvertMobi(mobi, dir, pages, nullptr, &flaws));
  EXPECT_EQ(0u, flaws);
  ASSERT_CODE(0, ConvertMobi(mobi, dir, single, "single", &flaws));
  ASSERT_CODE(0, Convert(mobi, dir, dir / "record.epub"));
  EXPECT_EQ(kavtest::ReadFile(dir / "record.epub"), kavtest::ReadFile(single));

  EXPECT_EQ(labels.at(GetParam().rfind("lantern", 0) == 0 ? "lantern" : GetParam()),
            CheckedToc(pages));
  if (!nested.empty()) {
    EXPECT_EQ(nested, XPathTexts(kave2e::ReadBook(pages)["OEBPS/toc.ncx"].data,
                                 "//ncx:navPoint/ncx:navPoint/ncx:navLabel/ncx:text"));
  }
  EXPECT_EQ(PageWords(single), PageWords(pages, false));
  Strings allowed = {"HTM-004", "NCX-001", "OPF-085"};
  if (kave2e::ReadBook(pages).count("OEBPS/cover.html") == 0) allowed.push_back("RSC-005");
  kave2e::ExpectOnlyFindings(pages, allowed);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, MobiBook,
                         ::testing::Values("lantern_mobi6", "lantern_kf8", "lantern_joint",
                                           "plain_mobi6", "special_title_mobi6", "toc2_mobi6",
                                           "big_pagebreaks_mobi6", "no-ncx_mobi6",
                                           "no-headings_mobi6", "toc2_kf8", "chapters_kf8"));

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
// (tests/data/mobi/damage.py). Lost or overstated indices lose no word; a text record that
// starts early loses the few bytes around the seam. An NCX index that points
// past the text, loops or floods (make_books.py) costs nothing either.
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
                        Case{"skeleton-total_lantern_kf8", "lantern_kf8", 0},
                        Case{"ncx-total_lantern_kf8", "lantern_kf8", 0},
                        Case{"text-offset_lantern_kf8", "lantern_kf8", 2},
                        Case{"text-offset_special_title_mobi6", "special_title_mobi6", 2},
                        Case{"ncx-past-text_toc2_mobi6", "toc2_mobi6", 0},
                        Case{"ncx-self-parent_toc2_mobi6", "toc2_mobi6", 0},
                        Case{"ncx-cycle_toc2_mobi6", "toc2_mobi6", 0},
                        Case{"ncx-deep_toc2_mobi6", "toc2_mobi6", 0},
                        Case{"ncx-100k_toc2_mobi6", "toc2_mobi6", 0}}) {
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
    // Mobi2Epub reads no NCX: with a wrong one the book is its whole book's,
    // which MobiBook checks.
    const bool badNcx = std::string(c.damaged).rfind("ncx-", 0) == 0;
    Strings allowed = {"HTM-004", "NCX-001", "OPF-085"};
    if (XPathTexts(opf, "//opf:item[@id='cover-image']").empty()) allowed.push_back("RSC-005");
    if (!badNcx) kave2e::ExpectOnlyFindings(epub, allowed);

    // In pages: a table from what is left (the unreadable index is the one flaw said; a
    // looping, self-parented, too deep or too long one or one past the text has flaws),
    // pointing where it should, and the same words, in the time the test has.
    const std::string pages = dir / "pages.epub";
    size_t flaws = 99;
    ASSERT_CODE(0, ConvertMobi(kFixtures + "damaged/" + c.damaged + ".mobi", dir, pages, nullptr,
                               &flaws));
    if (badNcx) {
      EXPECT_GT(flaws, 0u);
    } else {
      EXPECT_EQ(std::string(c.damaged) == "ncx_lantern_kf8" ? 1u : 0u, flaws);
    }
    EXPECT_FALSE(CheckedToc(pages).empty());
    EXPECT_EQ(words, PageWords(pages, false));
  }
  // With its text records destroyed too, nothing is left to read.
  kavtest::TempDir dir;
  EXPECT_CODE(KAV_MOBI_ERR_NO_TEXT,
              Convert(kFixtures + "invalid/no-text_lantern_kf8.mobi", dir, dir / "none.epub"));
  EXPECT_FALSE(std::ifstream(dir / "none.epub").good());
}

}  // namespace
