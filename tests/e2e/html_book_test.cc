// A small web site made into a book with kav-epub html, read back as a
// reader would: flat copies, cover, links, and epubcheck.

#include <algorithm>
#include <map>
#include <string>

#include "e2e/book_checks.h"
#include "support/test_support.h"

namespace {

using kave2e::Strings;
using kave2e::XPathTexts;
using kavtest::ReadFile;
using kavtest::WriteFile;

const char kFigure[] = "../shared/fixtures/mobi/src/figure1.png";
const std::string kArguments =
    "html index.html second.html ../book.epub --title T --author A --quiet --cover '";

void WriteSite(const std::string& site) {
  kavtest::MakeDirs(site + "/img");
  kavtest::MakeDirs(site + "/css");
  WriteFile(site + "/img/figure1.png", ReadFile(kFigure));
  WriteFile(site + "/css/site.css", "p { margin: 0 }");
  for (const auto& [name, body] : std::map<std::string, std::string>{
           {"index.html",
            "<h1 id=\"top\">Home</h1><p>A figure: <img src=\"img/figure1.png\" alt=\"fig\"></p>"
            "<p><a href=\"second.html\">on</a>, <a href=\"notes.htm\">notes</a>, <a href=\"#top\">"
            "top</a>, <a href=\"missing.html\">gone</a>, <a href=\"http://example.com/x.html\">"
            "far</a>.</p><script>x()</script>"},
           {"second.html",
            "<p><a href=\"index.html\">back</a> <img src=\"img/figure1.png\" alt=\"again\"></p>"},
           {"notes.htm", "<p><a href=\"second.html\">second</a></p>"}}) {
    WriteFile(site + "/" + name, "<html><head><title>" + name +
                                     "</title><link rel=\"stylesheet\" "
                                     "href=\"css/site.css\"></head><body>" +
                                     body + "</body></html>");
  }
}

// Every link and picture left in a page names a file of the book or an id
// of the page itself; the ones that could not are no longer links.
void ExpectEveryReferenceResolves(const kave2e::Book& book) {
  for (const auto& [name, entry] : book) {
    if (name.rfind("OEBPS/", 0) != 0 || name.find(".htm") == std::string::npos) continue;
    Strings ids = XPathTexts(entry.data, "//@id");
    for (const std::string& ref : XPathTexts(entry.data, "//@src | //@*[local-name()='href']")) {
      if (ref.rfind('#', 0) == 0) {
        EXPECT_NE(ids.end(), std::find(ids.begin(), ids.end(), ref.substr(1))) << name << ref;
      } else {
        EXPECT_EQ(1u, book.count("OEBPS/" + ref)) << name << " refers to " << ref;
      }
    }
  }
}

// The cover is a PNG, which the package still labels image/jpeg. Which
// files the walks import, and how the package lists them, is the builder's
// and the package's tests' concern.
TEST(HtmlBook, SiteBecomesAFlatBookWithACoverAndResolvingLinks) {
  kavtest::TempDir dir;
  WriteSite(dir / "site");
  WriteFile(dir / "cover.png", ReadFile(kFigure));
  std::string output, epub = dir / "book.epub";
  ASSERT_EQ(
      0, kave2e::KavEpub("cd '" + dir / "site" + "' &&", kArguments + dir / "cover.png'", &output))
      << output;
  EXPECT_EQ("", output);
  auto book = kave2e::ReadBook(epub);
  EXPECT_EQ(ReadFile(kFigure), book["OEBPS/figure1.png"].data);
  EXPECT_EQ(ReadFile(kFigure), book["OEBPS/images/cover.png"].data);
  const std::string& opf = book["OEBPS/content.opf"].data;
  EXPECT_EQ((Strings{"cover-image", "images/cover.png", "image/jpeg"}),
            XPathTexts(opf, "//opf:item[@id='cover-image']/@*"));
  EXPECT_EQ(13u, book.size()) << "the three pages, the picture, the cover and the book's own";
  EXPECT_EQ((Strings{"Home"}), XPathTexts(book["OEBPS/page-1.html"].data, "//x:h1"));
  ExpectEveryReferenceResolves(book);
  kave2e::ExpectOnlyFindings(epub,
                             {"HTM-004", "OPF-085", "NCX-001", "RSC-005", "RSC-010", "OPF-029"});
}

}  // namespace
