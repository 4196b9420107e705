// Real MOBI books (made by an independent tool) converted through the C
// record. (Damaged books are the reader's and the converter's tests' concern.)

#include <string>

#include "e2e/book_checks.h"

namespace {

using kave2e::Strings;
using kave2e::XPathTexts;

const std::string kFixtures = "tests/data/mobi/";

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
  const std::string epub = dir / "book.epub", mobi = kFixtures + GetParam() + ".mobi";
  kavtest::MakeDirs(dir / "work");
  TEpubService* service = CreateEpubService();
  const int code =
      service->Mobi2Epub(mobi.c_str(), epub.c_str(), (dir / "work").c_str(), nullptr, nullptr);
  FreeEpubService(service);
  ASSERT_CODE(0, code);
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
  Strings allowed = {"HTM-004", "NCX-001", "OPF-085"};
  if (!hasCover) allowed.push_back("RSC-005");
  kave2e::ExpectOnlyFindings(epub, allowed);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, MobiBook,
                         ::testing::Values("lantern_mobi6", "lantern_kf8", "lantern_joint",
                                           "plain_mobi6", "special_title_mobi6"));

}  // namespace
