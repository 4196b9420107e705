#include <algorithm>

#include "book_test.h"

namespace buildertest {
namespace {

// A small site: pictures in a subfolder, a style sheet, pages in folders that
// link to each other and back to the top page, one page reached as both
// "b/x.html" and "a/../b/x.html", and "notes.HTML", which is no page.
TEST_F(BookTest, AddHTHLToEpub_ImportsEachFileOnceAWalkFlatBesideTheTopPage) {
  File("site/pics/a.png", "png a");
  File("site/pics/b.png", "png b");
  File("site/css/site.css", "p {}");
  File("site/notes.HTML", "<html>raw</html>");
  for (const auto& [name, body] : std::vector<std::pair<std::string, std::string>>{
           {"index.html",
            "<img src='pics/a.png' alt='a'/> <a href='b/x.html'>x</a> <a href='a/y.html'>y</a> "
            "<a href='css/site.css'>css</a> <a href='chapter.htm'>c</a> "
            "<a href='notes.HTML'>n</a>"},
           {"a/y.html",
            "<a href='../b/x.html'>x</a> <a href='../index.html'>home</a> "
            "<img src='../pics/b.png' alt='b'/>"},
           {"b/x.html", "<a href='../a/y.html'>y</a> <a href='../index.html'>home</a>"},
           {"chapter.htm", "<a href='index.html'>home</a>"}}) {
    File("site/" + name,
         "<html><head><title>t</title></head><body><p>" + body + "</p></body></html>");
  }
  ASSERT_CODE(0, book.StartPage());
  ASSERT_CODE(0, book.EndPage());
  // The top page is stored as page-2.html and, because pages link back to it,
  // once more as index.html: the back links resolve, and the cycle ends.
  ASSERT_CODE(0, book.AddHTHLToEpub((root / "site/index.html").c_str()));
  ASSERT_CODE(0, book.StartPage());  // the walk took one page number
  ASSERT_CODE(0, book.EndPage());
  Save();
  // Stored flat beside the top page, and each file listed in the package once.
  const Strings files = kavtest::ListFiles(Oebps(""));
  EXPECT_EQ((Strings{"a.png", "b.png", "chapter.htm", "content.opf", "index.html", "main.css",
                     "notes.HTML", "page-1.html", "page-2.html", "page-3.html", "site.css",
                     "toc.ncx", "x.html", "y.html"}),
            files);
  Strings listed = Manifest(), nav = Nav();
  listed.push_back("content.opf");
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(files, listed);
  // Every page once, resources never, the top page first.
  EXPECT_EQ("page-2.html", nav.at(1));
  std::sort(nav.begin(), nav.end());
  EXPECT_EQ((Strings{"chapter.htm", "index.html", "page-1.html", "page-2.html", "page-3.html",
                     "x.html", "y.html"}),
            nav);
  EXPECT_EQ("png b", ReadFile(Oebps("b.png")));
  EXPECT_EQ("<html>raw</html>", ReadFile(Oebps("notes.HTML")));  // a resource, as it is
  // Each page is titled by the stem of its own file name.
  EXPECT_EQ((Strings{"page-2"}), Captures(Oebps("page-2.html"), "<title>([^<]*)</title>"));
  EXPECT_EQ((Strings{"x"}), Captures(Oebps("x.html"), "<title>([^<]*)</title>"));

  // A second import walks afresh; a failed one records nothing.
  ASSERT_CODE(0, book.AddHTHLToEpub((root / "site/b/x.html").c_str()));
  EXPECT_CODE(KAV_ERR_OPEN, book.AddHTHLToEpub((root / "absent.html").c_str()));
  Save();
  nav = Nav();
  EXPECT_EQ(2, std::count(nav.begin(), nav.end(), "index.html"));
  EXPECT_EQ(1, std::count(nav.begin(), nav.end(), "page-4.html"));
  EXPECT_EQ(0, std::count(nav.begin(), nav.end(), "page-5.html"));
}

}  // namespace
}  // namespace buildertest
