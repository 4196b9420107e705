#include <algorithm>

#include "book_test.h"
#include "service/kav_result.h"

namespace {

using buildertest::BookTest;
using buildertest::Captures;
using buildertest::Strings;
using kavtest::ReadFile;

Strings Sorted(Strings names) {
  std::sort(names.begin(), names.end());
  return names;
}

// A small site: pictures in a subfolder, a style sheet, pages in folders
// that link to each other and back to the top page, and one page reached as
// both "b/x.html" and "a/../b/x.html".
class HtmlImportTest : public BookTest {
 protected:
  void SetUp() override {
    BookTest::SetUp();
    File("site/pics/a.png", "png a");
    File("site/pics/b.png", "png b");
    File("site/css/site.css", "p {}");
    File("site/notes.HTML", "<html>raw</html>");
    Page("index.html",
         "<img src='pics/a.png' alt='a'/> <a href='b/x.html'>x</a> "
         "<a href='a/y.html'>y</a> <a href='css/site.css'>css</a> "
         "<a href='chapter.htm'>c</a> <a href='notes.HTML'>n</a>");
    Page("a/y.html",
         "<a href='../b/x.html'>x</a> <a href='../index.html'>home</a> "
         "<img src='../pics/b.png' alt='b'/>");
    Page("b/x.html", "<a href='../a/y.html'>y</a> <a href='../index.html'>home</a>");
    Page("chapter.htm", "<a href='index.html'>home</a>");
  }
  void Page(const std::string& name, const std::string& body) {
    File("site/" + name,
         "<html><head><title>t</title></head><body><p>" + body + "</p></body></html>");
  }
};

TEST_F(HtmlImportTest, AddHTHLToEpub_ImportsEachFileOnceFlatBesideTheTopPage) {
  // The top page is stored as page-2.html and, because pages link back to
  // it, once more as index.html: the back links resolve, and the cycle ends.
  ASSERT_CODE(0, book.StartPage());
  ASSERT_CODE(0, book.EndPage());
  ASSERT_CODE(0, book.AddHTHLToEpub((root / "site/index.html").c_str()));
  ASSERT_CODE(0, book.StartPage());  // the walk took one page number
  ASSERT_CODE(0, book.EndPage());

  EXPECT_EQ((Strings{"a.png", "b.png", "chapter.htm", "index.html", "main.css", "notes.HTML",
                     "page-1.html", "page-2.html", "page-3.html", "site.css", "x.html", "y.html"}),
            kavtest::ListFiles(Oebps("")));
  EXPECT_EQ("png b", ReadFile(Oebps("b.png")));
  EXPECT_EQ("<html>raw</html>", ReadFile(Oebps("notes.HTML")));  // a resource, as it is
  // Each page is titled by the stem of its own file name.
  EXPECT_EQ((Strings{"page-2"}), Captures(Oebps("page-2.html"), "<title>([^<]*)</title>"));
  EXPECT_EQ((Strings{"x"}), Captures(Oebps("x.html"), "<title>([^<]*)</title>"));

  Save();
  Strings manifest = Manifest();
  EXPECT_EQ((Strings{"a.png|image/png", "b.png|image/png", "chapter.htm|image/htm",
                     "index.html|application/xhtml+xml", "main.css|text/css",
                     "notes.HTML|image/HTML", "page-1.html|application/xhtml+xml",
                     "page-2.html|application/xhtml+xml", "page-3.html|application/xhtml+xml",
                     "site.css|text/css", "toc.ncx|application/x-dtbncx+xml",
                     "x.html|application/xhtml+xml", "y.html|application/xhtml+xml"}),
            Sorted(manifest));
  // Every page once, resources never, the top page first.
  Strings nav = Nav();
  ASSERT_EQ(7u, nav.size());
  EXPECT_EQ("page-2.html", nav[1]);
  EXPECT_EQ((Strings{"chapter.htm", "index.html", "page-1.html", "page-2.html", "page-3.html",
                     "x.html", "y.html"}),
            Sorted(nav));
}

TEST_F(HtmlImportTest, AddHTHLToEpub_EachImportIsAWalkOfItsOwn) {
  ASSERT_CODE(0, book.AddHTHLToEpub((root / "site/b/x.html").c_str()));
  ASSERT_CODE(0, book.AddHTHLToEpub((root / "site/b/x.html").c_str()));
  EXPECT_CODE(KAV_ERR_OPEN, book.AddHTHLToEpub((root / "absent.html").c_str()));
  Save();
  Strings nav = Nav();
  EXPECT_EQ(2, std::count(nav.begin(), nav.end(), "index.html"));
  EXPECT_EQ(1, std::count(nav.begin(), nav.end(), "page-2.html"));
  EXPECT_EQ(0, std::count(nav.begin(), nav.end(), "page-3.html"));
}

TEST_F(BookTest, AppendPropToCSS_AppendsTextAsItIs) {
  const std::string before = ReadFile(Oebps("main.css"));
  EXPECT_CODE(0, book.AppendPropToCSS(nullptr));
  EXPECT_CODE(0, book.AppendPropToCSS(".a{x:1}"));
  EXPECT_EQ(before + ".a{x:1}", ReadFile(Oebps("main.css")));
  EpubBase fresh;  // no style sheet to append to: silently nothing
  EXPECT_CODE(0, fresh.AppendPropToCSS(".a{x:1}"));
}

}  // namespace
