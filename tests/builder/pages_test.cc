#include <filesystem>

#include "book_test.h"

namespace buildertest {

TEST_F(BookTest, TextPages_GatherParagraphsAndStartEachPageAfresh) {
  Page({"  Opening line\n", "back at the margin\n", "still going on\n", "\n", "  Next & last\n",
        std::string(99, 'x')});
  // The first break writes the empty paragraph gathered before it.
  EXPECT_EQ((Strings{"", "  Opening line back at the margin still going on ", " ",
                     "  Next &amp; last " + std::string(99, 'x')}),
            Paragraphs("page-1.html"));
  // Had page 1's longest line been carried over, the short "first" would end a paragraph.
  Page({"first\n", "second\n"});
  EXPECT_EQ((Strings{"first second "}), Paragraphs("page-2.html"));
  // Without a page, only lines that continue a paragraph are taken.
  EXPECT_CODE(0, book.AddTextLineToPage("continues without a page\n"));
  EXPECT_CODE(KAV_ERR_NO_PAGE_FOR_TEXT, book.AddTextLineToPage("\n"));
  EXPECT_CODE(KAV_ERR_EMPTY_LINE, book.AddTextLineToPage(""));
  EXPECT_CODE(KAV_ERR_NO_PAGE, book.EndPage());
}

TEST_F(BookTest, Pictures_FailInOrderSkipMetafilesAndShareThePageNumbers) {
  const std::string missing = root / "missing.png", wmf = File("pics/clip.wmf");
  EXPECT_CODE(KAV_ERR_MISSING, book.AddImageToPage(missing.c_str()));
  EXPECT_CODE(KAV_ERR_NO_PAGE, book.AddImageToPage(wmf.c_str()));
  EXPECT_CODE(KAV_ERR_MISSING, book.AddImageToEpub(missing.c_str()));
  EXPECT_CODE(KAV_ERR_MISSING, book.AddCoverImageToEpub(missing.c_str()));
  ASSERT_CODE(0, book.StartPage());  // page 1: the failed image page took no number
  ASSERT_CODE(0, book.AddTextLineToPage("Hello\n"));
  EXPECT_CODE(0, book.AddImageToPage(wmf.c_str()));
  ASSERT_CODE(0, book.AddTextLineToPage("again\n"));  // the paragraph goes on
  ASSERT_CODE(0, book.AddImageToPage(File("pics/a.png", "a.png").c_str()));
  // The picture reset the previous length but kept the longest line, so the
  // next line follows a "short" one and begins a paragraph.
  ASSERT_CODE(0, book.AddTextLineToPage("World\n"));
  ASSERT_CODE(0, book.EndPage());
  Page();
  ASSERT_CODE(0, book.AddImageToEpub(File("pics/pic.png", "pic.png").c_str()));
  ASSERT_CODE(0, book.AddCoverImageToEpub(File("pics/picture.jpg", "picture.jpg").c_str()));
  Page();
  EXPECT_EQ((Strings{"Hello again ", "", "World "}), Paragraphs("page-1.html"));
  EXPECT_EQ((Strings{"images/a.png"}), Images("page-1.html"));
  EXPECT_EQ((Strings{"images/pic.png"}), Images("page-3.html"));
  EXPECT_EQ((Strings{"images/picture.jpg"}),
            Captures(Oebps("cover.html"), "xlink:href=\"([^\"]*)\""));
  const Strings pictures = {"a.png", "pic.png", "picture.jpg"};
  EXPECT_EQ(pictures, kavtest::ListFiles(Oebps("images")));
  for (const std::string& n : pictures) EXPECT_EQ(n, kavtest::ReadFile(Oebps("images/" + n)));
  Save();
  EXPECT_EQ(
      (Strings{"toc.ncx", "main.css", "images/a.png", "page-1.html", "page-2.html",
               "images/pic.png", "page-3.html", "images/picture.jpg", "cover.html", "page-4.html"}),
      Manifest());
  EXPECT_EQ((Strings{"page-1.html", "page-2.html", "page-3.html", "page-4.html"}), Nav());
}

TEST_F(BookTest, Cover_OnlyListedLowerCaseExtensionsAreTaken) {
  for (const std::string path :
       {"picture.JPG", "my.dir/cover", "nodot/cover", "x.jpg.bak", "a.jpeg", "b.gif"}) {
    const bool taken = path == "a.jpeg" || path == "b.gif";
    EXPECT_CODE(0, book.AddCoverImageToEpub(File(path).c_str()));
    EXPECT_EQ(taken, kavtest::Exists(Oebps("images/" + path.substr(path.rfind('/') + 1)))) << path;
    EXPECT_EQ(taken, kavtest::Exists(Oebps("cover.html"))) << path;
  }
}

TEST_F(BookTest, Pictures_BaseNamesFromBackslashesAndLongNames) {
  const std::filesystem::path cwd = std::filesystem::current_path();
  std::filesystem::current_path(root.path());
  kavtest::WriteFile("C:\\pics\\a.png", "backslashed");
  const int result = book.AddImageToEpub("C:\\pics\\a.png");
  std::filesystem::current_path(cwd);
  ASSERT_CODE(0, result);
  EXPECT_EQ("backslashed", kavtest::ReadFile(Oebps("images/a.png")));
  // The longest name a file can have: "images/" + name outgrows 256 bytes.
  const std::string name = std::string(251, 'n') + ".png", picture = File("pics/" + name, "long");
  ASSERT_CODE(0, book.AddImageToEpub(picture.c_str()));
  ASSERT_CODE(0, book.AddCoverImageToEpub(picture.c_str()));
  ASSERT_CODE(0, book.StartPage());
  ASSERT_CODE(0, book.AddImageToPage(picture.c_str()));
  ASSERT_CODE(0, book.EndPage());
  EXPECT_EQ("long", kavtest::ReadFile(Oebps("images/" + name)));
  EXPECT_CODE(KAV_ERR_MISSING, book.AddImageToEpub((root / std::string(1000, 'n')).c_str()));
  Save();
}

}  // namespace buildertest
