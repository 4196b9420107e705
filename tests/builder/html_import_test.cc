#include <gmock/gmock.h>

#include "book_test.h"
#include "builder/html_encoding.h"

namespace buildertest {

// Pages in folders link to each other and back to the top page; one page is reached as
// both "b/x.html" and "a/../b/x.html"; "notes.HTML" is no page.
TEST_F(BookTest, AddHTHLToEpub_ImportsEachFileOnceAWalkFlatBesideTheTopPage) {
  const auto html = [](const std::string& body) {
    return "<html><head><title>t</title></head><body><p>" + body + "</p></body></html>";
  };
  for (const auto& [name, bytes] : std::vector<std::pair<std::string, std::string>>{
           {"pics/a.png", "png a"},
           {"pics/b.png", "png b"},
           {"css/site.css", "p {}"},
           {"notes.HTML", "<html>raw</html>"},
           {"index.html", html("<img src='pics/a.png' alt='a'/> <a href='b/x.html'>x</a> "
                               "<a href='a/y.html'>y</a> <a href='css/site.css'>css</a> "
                               "<a href='chapter.htm'>c</a> <a href='notes.HTML'>n</a>")},
           {"a/y.html", html("<a href='../b/x.html'>x</a> <a href='../index.html'>home</a> "
                             "<img src='../pics/b.png' alt='b'/>")},
           {"b/x.html", html("<a href='../a/y.html'>y</a> <a href='../index.html'>home</a>")},
           {"chapter.htm", html("<a href='index.html'>home</a>")}})
    File("site/" + name, bytes);
  Page();
  // The top page is stored as page-2.html and, because pages link back to it,
  // once more as index.html: the back links resolve, and the cycle ends.
  ASSERT_CODE(0, book.AddHTHLToEpub((root / "site/index.html").c_str()));
  Page();  // page-3: the walk took one page number
  Save();
  const Strings files = kavtest::ListFiles(Oebps(""));
  EXPECT_EQ((Strings{"a.png", "b.png", "chapter.htm", "content.opf", "index.html", "main.css",
                     "notes.HTML", "page-1.html", "page-2.html", "page-3.html", "site.css",
                     "toc.ncx", "x.html", "y.html"}),
            files);
  Strings listed = Manifest();
  listed.push_back("content.opf");
  EXPECT_THAT(listed, ::testing::UnorderedElementsAreArray(files));
  // Every page once, resources never, the top page first.
  EXPECT_EQ("page-2.html", Nav().at(1));
  EXPECT_THAT(Nav(),
              ::testing::UnorderedElementsAre("chapter.htm", "index.html", "page-1.html",
                                              "page-2.html", "page-3.html", "x.html", "y.html"));
  EXPECT_EQ("png b", kavtest::ReadFile(Oebps("b.png")));
  EXPECT_EQ("<html>raw</html>", kavtest::ReadFile(Oebps("notes.HTML")));  // a resource, as it is
  // Each page is titled by the stem of its own file name.
  EXPECT_EQ((Strings{"page-2"}), Captures(Oebps("page-2.html"), "<title>([^<]*)</title>"));
  EXPECT_EQ((Strings{"x"}), Captures(Oebps("x.html"), "<title>([^<]*)</title>"));
  // A second import walks afresh; a failed one records nothing.
  ASSERT_CODE(0, book.AddHTHLToEpub((root / "site/b/x.html").c_str()));
  EXPECT_CODE(KAV_ERR_OPEN, book.AddHTHLToEpub((root / "absent.html").c_str()));
  Save();
  EXPECT_THAT(Nav(), ::testing::AllOf(::testing::Contains("index.html").Times(2),
                                      ::testing::Contains("page-4.html").Times(1),
                                      ::testing::Contains("page-5.html").Times(0)));
}

}  // namespace buildertest

namespace buildertest {

// What a page says about its encoding, read as a browser reads it, and
// what that makes of its bytes.
TEST(HtmlEncoding, DeclarationsAndMarksChooseTheEncoding) {
  const struct {
    std::string page, mode, encoding;
  } cases[] = {
      {"<meta charset=\" Latin1 \"><p>x\x93</p>", "auto", "WINDOWS-1252"},
      {"<meta content='text/html; charset = \"GBK\"' http-equiv=Content-Type>", "auto", "GB18030"},
      {"<?xml version='1.0' encoding='Shift_JIS'?><html/>", "auto", "CP932"},
      // In a comment, in another meta, in another element or past the first
      // 4 KB, nothing is declared.
      {"<!-- <meta charset=koi8-r> --><p>ok</p>", "auto", "UTF-8"},
      {"<meta http-equiv=refresh content=\"0; charset=big5\"><p>ok</p>", "auto", "UTF-8"},
      {"<metadata charset=big5><p>ok</p>", "auto", "UTF-8"},
      {"<html>" + std::string(5000, ' ') + "<meta charset=euc-kr><p>ok</p>", "auto", "UTF-8"},
      // A declaration read through ASCII cannot be UTF-16; a mark beats all.
      {"<meta charset=utf-16><p>ok</p>", "auto", "UTF-8"},
      {std::string("\xFE\xFF\0<\0p", 6), "GB18030", "UTF-16BE"},
      {std::string("<\0p\0>\0h\0i\0", 10), "auto", "UTF-16LE"},
      {"<p>\xE9t\xE9</p>", "latin1", "WINDOWS-1252"},
  };
  for (const auto& c : cases) {
    size_t bom = 0;
    EXPECT_EQ(c.encoding, kav_builder::ChoosePageEncoding(c.page, c.mode, &bom)) << c.page;
  }
  // A byte with no character (0x81 in windows-1252) becomes U+FFFD.
  EXPECT_EQ("\u201C\uFFFD\u00E9", kav_builder::DecodeToUtf8("\x93\x81\xE9", "WINDOWS-1252"));
}

}  // namespace buildertest
