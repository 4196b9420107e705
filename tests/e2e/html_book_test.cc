// A small web site made into a book with kav-epub html, read back as a
// reader would: flat copies, manifest, spine, cover, navigation, links.

#include <algorithm>
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
  auto page = [&](const char* name, const std::string& title, const std::string& body) {
    WriteFile(site + "/" + name, "<html><head><title>" + title +
                                     "</title><link rel=\"stylesheet\" href=\"css/site.css\">"
                                     "</head><body>" +
                                     body + "</body></html>");
  };
  page("index.html", "Home",
       "<h1 id=\"top\">Home</h1><p>A figure: <img src=\"img/figure1.png\" alt=\"fig\"></p><p>"
       "<a href=\"second.html\">on</a>, <a href=\"notes.htm\">notes</a>, <a href=\"#top\">top</a>"
       ", <a href=\"missing.html\">gone</a>, <a href=\"http://example.com/x.html\">far</a>.</p>"
       "<script>x()</script>");
  page("second.html", "Second",
       "<p><a href=\"index.html\">back</a> <img src=\"img/figure1.png\" alt=\"again\"></p>");
  page("notes.htm", "Notes", "<p><a href=\"second.html\">second</a></p>");
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

TEST(HtmlBook, SiteBecomesAFlatBookWithCoverNavigationAndResolvingLinks) {
  kavtest::TempDir dir;
  WriteSite(dir / "site");
  WriteFile(dir / "cover.png", ReadFile(kFigure));
  for (const std::string& cover :
       {kavtest::SourcePath("../shared/fixtures/mobi/src/cover.jpg"), dir / "cover.png"}) {
    SCOPED_TRACE(cover);
    std::string coverEntry = "images/cover" + cover.substr(cover.rfind('.')), output;
    std::string epub = dir / "book.epub";
    ASSERT_EQ(0, kave2e::KavEpub("cd '" + dir / "site" + "' &&", kArguments + cover + "'", &output))
        << output;
    EXPECT_EQ("", output);
    auto book = kave2e::ReadBook(epub);
    Strings names;
    for (const auto& entry : book) names.push_back(entry.first);
    // Everything lands flat in OEBPS; the source head (and its style sheet)
    // is replaced, so only the book's own style sheet is linked.
    EXPECT_EQ((Strings{"META-INF/container.xml", "OEBPS/content.opf", "OEBPS/cover.html",
                       "OEBPS/figure1.png", "OEBPS/" + coverEntry, "OEBPS/index.html",
                       "OEBPS/main.css", "OEBPS/notes.htm", "OEBPS/page-1.html",
                       "OEBPS/page-2.html", "OEBPS/second.html", "OEBPS/toc.ncx", "mimetype"}),
              names);
    EXPECT_EQ(ReadFile(kFigure), book["OEBPS/figure1.png"].data);
    EXPECT_EQ(ReadFile(cover), book["OEBPS/" + coverEntry].data);

    const std::string& opf = book["OEBPS/content.opf"].data;
    Strings manifest = XPathTexts(opf, "//opf:item/@href");
    Strings types = XPathTexts(opf, "//opf:item/@media-type");
    for (size_t i = 0; i < manifest.size() && i < types.size(); ++i) manifest[i] += " " + types[i];
    EXPECT_EQ((Strings{"toc.ncx application/x-dtbncx+xml", "main.css text/css",
                       coverEntry + " image/jpeg", "cover.html application/xhtml+xml",
                       "page-1.html application/xhtml+xml", "notes.htm image/htm",
                       "second.html application/xhtml+xml", "figure1.png image/png",
                       "index.html application/xhtml+xml", "page-2.html application/xhtml+xml"}),
              manifest);
    EXPECT_EQ((Strings{"title", "rc_1", "rc_3", "rc_5", "rc_6"}),
              XPathTexts(opf, "//opf:itemref/@idref"));
    EXPECT_EQ((Strings{"cover-image"}), XPathTexts(opf, "//opf:meta[@name='cover']/@content"));
    EXPECT_EQ((Strings{"cover.html"}), XPathTexts(opf, "//opf:reference[@type='cover']/@href"));
    EXPECT_EQ((Strings{coverEntry}),
              XPathTexts(book["OEBPS/cover.html"].data,
                         "//*[local-name()='image']/@*[local-name()='href']"));

    // Each input is a walk of its own: the second one imports the pages it
    // reaches again, and every imported page has a navigation point.
    EXPECT_EQ((Strings{"page-1.html", "notes.htm", "second.html", "index.html", "page-2.html",
                       "index.html", "notes.htm", "second.html"}),
              XPathTexts(book["OEBPS/toc.ncx"].data, "//ncx:content/@src"));
    EXPECT_EQ((Strings{"Home"}), XPathTexts(book["OEBPS/page-1.html"].data, "//x:h1"));
    EXPECT_EQ(std::string::npos, book["OEBPS/page-1.html"].data.find("x()"));
    ExpectEveryReferenceResolves(book);
    Strings findings = {"HTM-004", "OPF-085", "NCX-001", "RSC-005", "RSC-010"};
    if (coverEntry != "images/cover.jpg") findings.push_back("OPF-029");
    kave2e::ExpectOnlyFindings(epub, findings);
  }
}

}  // namespace
