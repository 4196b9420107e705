#include <limits.h>
#include <unistd.h>

#include "book_test.h"
#include "service/kav_result.h"

namespace {

using buildertest::BookTest;
using buildertest::Captures;
using buildertest::Strings;
using kavtest::Exists;
using kavtest::ReadFile;

TEST_F(BookTest, TextPages_GatherParagraphsAndRecordEachPage) {
  const std::string longLine(99, 'x');
  ASSERT_CODE(0, book.StartPage());
  for (const char* line : {"  Opening line\n", "back at the margin\n", "still going on\n", "\n",
                           "  Next & last\n", longLine.c_str()}) {
    ASSERT_CODE(0, book.AddTextLineToPage(line));
  }
  ASSERT_CODE(0, book.EndPage());
  // The first break writes the empty paragraph gathered before it.
  EXPECT_EQ((Strings{"", "  Opening line back at the margin still going on ", " ",
                     "  Next &amp; last " + longLine}),
            Paragraphs("page-1.html"));

  // The heuristics start afresh: with the longest line of page 1 carried
  // over, the short "first" would end its paragraph.
  ASSERT_CODE(0, book.StartPage());
  ASSERT_CODE(0, book.AddTextLineToPage("first\n"));
  ASSERT_CODE(0, book.AddTextLineToPage("second\n"));
  ASSERT_CODE(0, book.EndPage());
  EXPECT_EQ((Strings{"first second "}), Paragraphs("page-2.html"));

  // Without a page, only lines that continue a paragraph are taken.
  EXPECT_CODE(0, book.AddTextLineToPage("continues without a page\n"));
  EXPECT_CODE(KAV_ERR_NO_PAGE_FOR_TEXT, book.AddTextLineToPage("\n"));
  EXPECT_CODE(KAV_ERR_EMPTY_LINE, book.AddTextLineToPage(""));
  EXPECT_CODE(KAV_ERR_NO_PAGE, book.EndPage());
  Save();
  EXPECT_EQ((Strings{"page-1.html", "page-2.html"}), Nav());
}

TEST_F(BookTest, ImagePages_ShareThePageNumbersAndTheCoverStandsApart) {
  for (int i = 0; i < 2; ++i) {
    ASSERT_CODE(0, book.StartPage());
    ASSERT_CODE(0, book.EndPage());
  }
  ASSERT_CODE(0, book.AddImageToEpub(File("pics/pic.png", "png").c_str()));
  ASSERT_CODE(0, book.AddCoverImageToEpub(File("pics/picture.jpg", "jpg").c_str()));
  ASSERT_CODE(0, book.StartPage());
  ASSERT_CODE(0, book.EndPage());

  EXPECT_EQ("png", ReadFile(Oebps("images/pic.png")));
  EXPECT_EQ("jpg", ReadFile(Oebps("images/picture.jpg")));
  EXPECT_EQ((Strings{"images/pic.png"}), Captures(Oebps("page-3.html"), "<img src=\"([^\"]*)\""));
  EXPECT_EQ((Strings{"images/picture.jpg"}),
            Captures(Oebps("cover.html"), "xlink:href=\"([^\"]*)\""));
  Save();
  EXPECT_EQ((Strings{"toc.ncx|application/x-dtbncx+xml", "main.css|text/css",
                     "page-1.html|application/xhtml+xml", "page-2.html|application/xhtml+xml",
                     "images/pic.png|image/png", "page-3.html|application/xhtml+xml",
                     "images/picture.jpg|image/jpeg", "cover.html|application/xhtml+xml",
                     "page-4.html|application/xhtml+xml"}),
            Manifest());
  EXPECT_EQ((Strings{"page-1.html", "page-2.html", "page-3.html", "page-4.html"}), Nav());
}

TEST_F(BookTest, Cover_OnlyListedLowerCaseExtensionsAreTaken) {
  const struct {
    const char* path;
    bool taken;
  } cases[] = {{"picture.JPG", false}, {"my.dir/cover", false}, {"nodot/cover", false},
               {"x.jpg.bak", false},   {"a.jpeg", true},        {"b.gif", true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_CODE(0, book.AddCoverImageToEpub(File(c.path).c_str()));
    std::string base = std::string(c.path).substr(std::string(c.path).rfind('/') + 1);
    EXPECT_EQ(c.taken, Exists(Oebps("images/" + base)));
    EXPECT_EQ(c.taken, Exists(Oebps("cover.html")));
  }
}

TEST_F(BookTest, PicturesInPages_FailInOrderAndSkipMetafiles) {
  const std::string missing = root / "missing.png";
  const std::string wmf = File("pics/clip.wmf");
  EXPECT_CODE(KAV_ERR_MISSING, book.AddImageToPage(missing.c_str()));
  EXPECT_CODE(KAV_ERR_NO_PAGE, book.AddImageToPage(wmf.c_str()));
  EXPECT_CODE(KAV_ERR_MISSING, book.AddImageToEpub(missing.c_str()));
  EXPECT_CODE(KAV_ERR_MISSING, book.AddCoverImageToEpub(missing.c_str()));

  ASSERT_CODE(0, book.StartPage());  // page 1: the failed image page took no number
  ASSERT_CODE(0, book.AddTextLineToPage("Hello\n"));
  EXPECT_CODE(0, book.AddImageToPage(wmf.c_str()));
  ASSERT_CODE(0, book.AddTextLineToPage("again\n"));  // the paragraph goes on
  ASSERT_CODE(0, book.AddImageToPage(File("pics/a.png").c_str()));
  // The picture reset the previous length but kept the longest line, so the
  // next line follows a "short" one and begins a paragraph.
  ASSERT_CODE(0, book.AddTextLineToPage("World\n"));
  ASSERT_CODE(0, book.EndPage());
  EXPECT_EQ((Strings{"Hello again ", "", "World "}), Paragraphs("page-1.html"));
  EXPECT_EQ((Strings{"images/a.png"}), Captures(Oebps("page-1.html"), "<img src=\"([^\"]*)\""));
  EXPECT_FALSE(Exists(Oebps("images/clip.wmf")));
}

TEST_F(BookTest, Pictures_BaseNamesFromBackslashesAndLongNames) {
  char cwd[PATH_MAX];
  ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
  ASSERT_EQ(0, chdir(root.path().c_str()));
  kavtest::WriteFile("C:\\pics\\a.png", "backslashed");
  int result = book.AddImageToEpub("C:\\pics\\a.png");
  ASSERT_EQ(0, chdir(cwd));
  ASSERT_CODE(0, result);
  EXPECT_EQ("backslashed", ReadFile(Oebps("images/a.png")));

  // 255 bytes is the longest name a file can have here: "images/" + name no
  // longer fits a 256-byte reference, and a 1,000-byte name cannot exist.
  const std::string name = std::string(251, 'n') + ".png";
  const std::string picture = File("pics/" + name, "long");
  ASSERT_CODE(0, book.AddImageToEpub(picture.c_str()));
  ASSERT_CODE(0, book.AddCoverImageToEpub(picture.c_str()));
  ASSERT_CODE(0, book.StartPage());
  ASSERT_CODE(0, book.AddImageToPage(picture.c_str()));
  ASSERT_CODE(0, book.EndPage());
  EXPECT_EQ("long", ReadFile(Oebps("images/" + name)));
  EXPECT_CODE(KAV_ERR_MISSING, book.AddImageToEpub((root / std::string(1000, 'n')).c_str()));
  Save();
}

}  // namespace
