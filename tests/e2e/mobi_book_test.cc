// Real MOBI books (made by an independent tool) converted through the C
// record, and damaged ones refused.

#include <cstdio>
#include <string>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "support/test_support.h"

namespace {

using kave2e::Strings;
using kave2e::XPathTexts;

const std::string kFixtures = "../shared/fixtures/mobi/";

struct Conversion {
  int code = -1;
  std::string progress;  // "done/total " per call
  bool workLeftEmpty = false;
};

int Record(void* user, int done, int total) {
  static_cast<Conversion*>(user)->progress +=
      std::to_string(done) + "/" + std::to_string(total) + " ";
  return 0;
}

// Converts mobi into epub with a fresh working directory beside it.
Conversion Convert(const std::string& mobi, const std::string& epub) {
  std::string work = epub + ".work";
  kavtest::MakeDirs(work);
  Conversion conversion;
  TEpubService* service = CreateEpubService();
  conversion.code =
      service->Mobi2Epub(mobi.c_str(), epub.c_str(), work.c_str(), &conversion, Record);
  FreeEpubService(service);
  conversion.workLeftEmpty = kavtest::ListFiles(work).empty();
  return conversion;
}

// Refused input: a nonzero code, no book, and nothing left in the working
// directory.
void ExpectRefused(const std::string& mobi, const std::string& what) {
  kavtest::TempDir dir;
  Conversion conversion = Convert(mobi, dir / "book.epub");
  EXPECT_NE(0, conversion.code) << what;
  EXPECT_FALSE(kavtest::Exists(dir / "book.epub")) << what;
  EXPECT_TRUE(conversion.workLeftEmpty) << what;
}

class MobiBook : public ::testing::TestWithParam<std::string> {};

TEST_P(MobiBook, ConvertsWithItsTitleAuthorCoverAndPictures) {
  std::map<std::string, std::string> expect;  // "key=value" lines
  for (const std::string& line :
       kavtest::Lines(kavtest::ReadFile(kFixtures + GetParam() + ".expect"))) {
    size_t eq = line.find('=');
    if (eq != std::string::npos) expect[line.substr(0, eq)] = line.substr(eq + 1);
  }
  kavtest::TempDir dir;
  std::string epub = dir / "book.epub";
  Conversion conversion = Convert(kFixtures + GetParam() + ".mobi", epub);
  ASSERT_CODE(0, conversion.code);
  EXPECT_EQ("1/10 6/10 7/10 8/10 9/10 10/10 ", conversion.progress);
  EXPECT_TRUE(conversion.workLeftEmpty) << "working and scratch files are removed";

  auto book = kave2e::ReadBook(epub);
  const std::string& opf = book["OEBPS/content.opf"].data;
  EXPECT_EQ((Strings{expect["title"]}), XPathTexts(opf, "//dc:title"));
  EXPECT_EQ((Strings{expect["author"]}), XPathTexts(opf, "//dc:creator"));
  bool hasCover = expect["cover"] == "yes";
  EXPECT_EQ(hasCover, book.count("OEBPS/cover.html") == 1);
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
    Strings text = XPathTexts(page, "//x:body");
    ASSERT_EQ(1u, text.size());
    EXPECT_NE(std::string::npos, text[0].find("Jürgen")) << "text decoded as UTF-8";
  }
  for (const std::string& src : pictures) EXPECT_EQ(1u, book.count("OEBPS/" + src)) << src;
  Strings allowed = {"HTM-004", "NCX-001", "OPF-085"};
  if (!hasCover) allowed.push_back("RSC-005");
  kave2e::ExpectOnlyFindings(epub, allowed);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, MobiBook,
                         ::testing::Values("lantern_mobi6", "lantern_kf8", "lantern_joint",
                                           "plain_mobi6", "special_title_mobi6"));

TEST(MobiRefused, InvalidFixturesFail) {
  for (const char* name :
       {"drm_lantern_mobi6.mobi", "truncated_lantern_kf8.mobi", "not_a_mobi.mobi", "empty.mobi"}) {
    ExpectRefused(kFixtures + "invalid/" + name, name);
  }
  ExpectRefused(kFixtures + "no-such-book.mobi", "missing file");
}

// Every truncation either fails cleanly or (when only the tail is lost)
// still makes a book; random bytes always fail.
TEST(MobiRefused, TruncationsAndRandomBytesNeverCrash) {
  kavtest::TempDir dir;
  std::string book = kavtest::ReadFile(kFixtures + "lantern_kf8.mobi");
  ASSERT_FALSE(book.empty());
  std::string cut = dir / "cut.mobi", epub = dir / "cut.epub";
  for (int i = 0; i < 64; ++i) {
    size_t length = book.size() * i / 64;
    kavtest::WriteFile(cut, book.substr(0, length));
    Conversion conversion = Convert(cut, epub);
    EXPECT_EQ(conversion.code == 0, kavtest::Exists(epub)) << "length " << length;
    EXPECT_TRUE(conversion.code != 0 || !kavtest::ReadZip(epub).empty()) << "length " << length;
    EXPECT_TRUE(conversion.workLeftEmpty) << "length " << length;
    std::remove(epub.c_str());
  }
  for (int size : {100, 4096, 70000}) {
    kavtest::WriteFile(cut, kave2e::RandomBytes(size, size));
    ExpectRefused(cut, "random bytes " + std::to_string(size));
  }
}

}  // namespace
