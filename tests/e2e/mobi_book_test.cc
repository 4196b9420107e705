// Real MOBI books (made by an independent tool) converted through the C
// record, and damaged ones refused.

#include <random>
#include <set>
#include <string>
#include <vector>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "support/test_support.h"

namespace {

using kavtest::TempDir;

const std::string kFixtures = "../shared/fixtures/mobi/";

std::map<std::string, std::string> ReadExpect(const std::string& path) {
  std::map<std::string, std::string> values;
  for (const std::string& line : kavtest::Lines(kavtest::ReadFile(path))) {
    size_t eq = line.find('=');
    if (eq != std::string::npos) values[line.substr(0, eq)] = line.substr(eq + 1);
  }
  return values;
}

struct Conversion {
  int code;
  std::vector<std::pair<int, int>> progress;
};

int Record(void* user, int done, int total) {
  static_cast<Conversion*>(user)->progress.push_back({done, total});
  return 0;
}

Conversion Convert(const std::string& mobi, const std::string& epub, const std::string& work) {
  Conversion conversion{-1, {}};
  TEpubService* service = CreateEpubService();
  conversion.code = service->Mobi2Epub(mobi.c_str(), epub.c_str(), work.c_str(), &conversion, Record);
  FreeEpubService(service);
  return conversion;
}

class MobiBook : public ::testing::TestWithParam<std::string> {};

TEST_P(MobiBook, ConvertsWithItsTitleAuthorCoverAndPictures) {
  TempDir dir;
  std::string work = dir / "work", epub = dir / "book.epub";
  kavtest::MakeDirs(work);
  auto expect = ReadExpect(kFixtures + GetParam() + ".expect");
  Conversion conversion = Convert(kFixtures + GetParam() + ".mobi", epub, work);
  ASSERT_CODE(0, conversion.code);
  EXPECT_EQ((std::vector<std::pair<int, int>>{{1, 10}, {6, 10}, {7, 10}, {8, 10}, {9, 10}, {10, 10}}),
            conversion.progress);
  EXPECT_TRUE(kavtest::ListFiles(work).empty()) << "working and scratch files are removed";

  auto byName = kave2e::EntriesByName(kavtest::ReadZip(epub));
  const std::string& opf = byName["OEBPS/content.opf"].data;
  EXPECT_EQ((std::vector<std::string>{expect["title"]}), kave2e::XPathTexts(opf, "//dc:title"));
  EXPECT_EQ((std::vector<std::string>{expect["author"]}), kave2e::XPathTexts(opf, "//dc:creator"));
  bool hasCover = expect["cover"] == "yes";
  EXPECT_EQ(hasCover, byName.count("OEBPS/cover.html") == 1);
  std::vector<std::string> coverImage =
      kave2e::XPathTexts(opf, "//opf:item[@id='cover-image']/@href");
  ASSERT_EQ(hasCover ? 1u : 0u, coverImage.size());
  if (hasCover) {
    EXPECT_EQ(1u, byName.count("OEBPS/" + coverImage[0])) << coverImage[0];
    EXPECT_EQ((std::vector<std::string>{coverImage[0]}),
              kave2e::XPathTexts(byName["OEBPS/cover.html"].data, "//@*[name()='xlink:href']"));
  }
  // Every picture the text shows is in the book.
  const std::string& page = byName["OEBPS/page-1.html"].data;
  std::vector<std::string> pictures = kave2e::XPathTexts(page, "//x:img/@src");
  if (GetParam().rfind("lantern", 0) == 0) {
    EXPECT_EQ(2u, pictures.size()) << "the lantern books show two figures";
    std::vector<std::string> text = kave2e::XPathTexts(page, "//x:body");
    ASSERT_EQ(1u, text.size());
    EXPECT_NE(std::string::npos, text[0].find("Jürgen")) << "text decoded as UTF-8";
  }
  for (const std::string& src : pictures) EXPECT_EQ(1u, byName.count("OEBPS/" + src)) << src;

  std::vector<std::string> allowed = {"HTM-004", "NCX-001", "OPF-085"};
  if (!hasCover) allowed.push_back("RSC-005");
  kave2e::ExpectOnlyFindings(epub, allowed);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, MobiBook,
                         ::testing::Values("lantern_mobi6", "lantern_kf8", "lantern_joint",
                                           "plain_mobi6", "special_title_mobi6"));

// Refused input: a nonzero code, no book, and nothing left in the working
// directory.
void ExpectRefused(const std::string& mobi, const std::string& what) {
  TempDir dir;
  std::string work = dir / "work", epub = dir / "book.epub";
  kavtest::MakeDirs(work);
  Conversion conversion = Convert(mobi, epub, work);
  EXPECT_NE(0, conversion.code) << what;
  EXPECT_FALSE(kavtest::Exists(epub)) << what;
  EXPECT_TRUE(kavtest::ListFiles(work).empty()) << what;
}

TEST(MobiRefused, InvalidFixturesFail) {
  for (const char* name : {"drm_lantern_mobi6.mobi", "truncated_lantern_kf8.mobi",
                           "not_a_mobi.mobi", "empty.mobi"}) {
    ExpectRefused(kFixtures + "invalid/" + name, name);
  }
  ExpectRefused(kFixtures + "no-such-book.mobi", "missing file");
}

// Every truncation either fails cleanly or (when only the tail is lost)
// still makes a book; random bytes always fail.
TEST(MobiRefused, TruncationsAndRandomBytesNeverCrash) {
  TempDir dir;
  std::string book = kavtest::ReadFile(kFixtures + "lantern_kf8.mobi");
  ASSERT_FALSE(book.empty());
  std::string cut = dir / "cut.mobi";
  for (int i = 0; i < 64; ++i) {
    size_t length = book.size() * i / 64;
    kavtest::WriteFile(cut, book.substr(0, length));
    std::string work = dir / "work", epub = dir / "cut.epub";
    kavtest::MakeDirs(work);
    Conversion conversion = Convert(cut, epub, work);
    if (conversion.code != 0) {
      EXPECT_FALSE(kavtest::Exists(epub)) << "length " << length;
    } else {
      EXPECT_FALSE(kavtest::ReadZip(epub).empty()) << "length " << length;
    }
    EXPECT_TRUE(kavtest::ListFiles(work).empty()) << "length " << length;
    std::remove(epub.c_str());
  }
  std::mt19937 random(7);
  for (int size : {100, 4096, 70000}) {
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    kavtest::WriteFile(cut, bytes);
    ExpectRefused(cut, "random bytes " + std::to_string(size));
  }
}

}  // namespace
