// A small web site made into a book with kav-epub html, read back as a
// reader would: flat copies, manifest, spine, cover, navigation, links.

#include <stdio.h>
#include <sys/wait.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "e2e/book_checks.h"
#include "support/test_support.h"

namespace {

using kavtest::ReadFile;
using kavtest::TempDir;
using kavtest::WriteFile;
using Strings = std::vector<std::string>;

const char kFigure[] = "../shared/fixtures/mobi/src/figure1.png";

// Runs kav-epub in dir (relative input names are the way a user types them);
// the exit status, with everything it printed in output.
int KavEpubIn(const std::string& dir, const std::string& arguments, std::string* output) {
  std::string command = "cd '" + dir + "' && '" + kavtest::BuildPath("kav-epub") + "' " +
                        arguments + " 2>&1 </dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return -1;
  char buffer[4096];
  size_t got;
  while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) output->append(buffer, got);
  int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Page(const std::string& title, const std::string& body) {
  return "<html><head><title>" + title +
         "</title><link rel=\"stylesheet\" href=\"css/site.css\"></head><body>" + body +
         "</body></html>";
}

// Each manifest item as "href media-type", in document order.
Strings Manifest(const std::string& opf) {
  Strings hrefs = kave2e::XPathTexts(opf, "//opf:item/@href");
  Strings types = kave2e::XPathTexts(opf, "//opf:item/@media-type");
  for (size_t i = 0; i < hrefs.size() && i < types.size(); ++i) hrefs[i] += " " + types[i];
  return hrefs;
}

class HtmlBook : public ::testing::Test {
 protected:
  void SetUp() override {
    kavtest::MakeDirs(site_ + "/img");
    kavtest::MakeDirs(site_ + "/css");
    WriteFile(site_ + "/img/figure1.png", ReadFile(kFigure));
    WriteFile(site_ + "/css/site.css", "p { margin: 0 }");
    WriteFile(site_ + "/index.html",
              Page("Home",
                   "<h1 id=\"top\">Home</h1><p>A figure: <img src=\"img/figure1.png\" alt=\"fig\">"
                   "</p><p><a href=\"second.html\">on</a>, <a href=\"notes.htm\">notes</a>, "
                   "<a href=\"#top\">top</a>, <a href=\"missing.html\">gone</a>, "
                   "<a href=\"http://example.com/x.html\">far</a>.</p><script>x()</script>"));
    WriteFile(site_ + "/second.html",
              Page("Second",
                   "<p><a href=\"index.html\">back</a> <img src=\"img/figure1.png\" "
                   "alt=\"again\"></p>"));
    WriteFile(site_ + "/notes.htm", Page("Notes", "<p><a href=\"second.html\">second</a></p>"));
  }
  TempDir dir_;
  std::string site_ = dir_ / "site";
};

// Every link and picture left in a page names a file of the book or an id
// of the page itself; the ones that could not are no longer links.
void ExpectEveryReferenceResolves(const std::map<std::string, kavtest::ZipEntry>& byName) {
  for (const auto& [name, entry] : byName) {
    if (name.rfind("OEBPS/", 0) != 0 || name.find(".htm") == std::string::npos) continue;
    Strings ids = kave2e::XPathTexts(entry.data, "//@id");
    for (const std::string& ref :
         kave2e::XPathTexts(entry.data, "//@src | //@*[local-name()='href']")) {
      if (ref.rfind('#', 0) == 0) {
        EXPECT_NE(ids.end(), std::find(ids.begin(), ids.end(), ref.substr(1)))
            << name << " " << ref;
      } else {
        EXPECT_EQ(1u, byName.count("OEBPS/" + ref)) << name << " refers to " << ref;
      }
    }
  }
}

TEST_F(HtmlBook, SiteBecomesAFlatBookWithCoverNavigationAndResolvingLinks) {
  kavtest::MakeDirs(dir_ / "covers");
  WriteFile(dir_ / "covers/cover.png", ReadFile(kFigure));
  struct Case {
    std::string cover;  // relative to the project root
    std::string coverEntry;
    Strings findings;
  } cases[] = {
      {"../shared/fixtures/mobi/src/cover.jpg",
       "images/cover.jpg",
       {"HTM-004", "OPF-085", "NCX-001", "RSC-005", "RSC-010"}},
      {dir_ / "covers/cover.png",
       "images/cover.png",
       {"HTM-004", "OPF-085", "NCX-001", "RSC-005", "RSC-010", "OPF-029"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.cover);
    std::string epub = dir_ / "book.epub", output;
    std::string cover = c.cover[0] == '/' ? c.cover : kavtest::SourcePath(c.cover);
    ASSERT_EQ(0, KavEpubIn(site_,
                           "html index.html second.html ../book.epub --title T --author A "
                           "--quiet --cover '" +
                               cover + "'",
                           &output))
        << output;
    EXPECT_EQ("", output);
    auto byName = kave2e::EntriesByName(kavtest::ReadZip(epub));
    Strings names;
    for (const auto& entry : byName) names.push_back(entry.first);
    // Everything lands flat in OEBPS; the source head (and its style sheet)
    // is replaced, so only the book's own style sheet is linked.
    EXPECT_EQ((Strings{"META-INF/container.xml", "OEBPS/content.opf", "OEBPS/cover.html",
                       "OEBPS/figure1.png", "OEBPS/" + c.coverEntry, "OEBPS/index.html",
                       "OEBPS/main.css", "OEBPS/notes.htm", "OEBPS/page-1.html",
                       "OEBPS/page-2.html", "OEBPS/second.html", "OEBPS/toc.ncx", "mimetype"}),
              names);
    EXPECT_EQ(ReadFile(kFigure), byName["OEBPS/figure1.png"].data);
    EXPECT_EQ(ReadFile(cover), byName["OEBPS/" + c.coverEntry].data);

    const std::string& opf = byName["OEBPS/content.opf"].data;
    EXPECT_EQ((Strings{"toc.ncx application/x-dtbncx+xml", "main.css text/css",
                       c.coverEntry + " image/jpeg", "cover.html application/xhtml+xml",
                       "page-1.html application/xhtml+xml", "notes.htm image/htm",
                       "second.html application/xhtml+xml", "figure1.png image/png",
                       "index.html application/xhtml+xml", "page-2.html application/xhtml+xml"}),
              Manifest(opf));
    EXPECT_EQ((Strings{"title", "rc_1", "rc_3", "rc_5", "rc_6"}),
              kave2e::XPathTexts(opf, "//opf:itemref/@idref"));
    EXPECT_EQ((Strings{"cover-image"}),
              kave2e::XPathTexts(opf, "//opf:meta[@name='cover']/@content"));
    EXPECT_EQ((Strings{"cover.html"}),
              kave2e::XPathTexts(opf, "//opf:reference[@type='cover']/@href"));
    EXPECT_EQ((Strings{c.coverEntry}),
              kave2e::XPathTexts(byName["OEBPS/cover.html"].data,
                                 "//*[local-name()='image']/@*[local-name()='href']"));

    // Each input is a walk of its own: the second one imports the pages it
    // reaches again, and every imported page has a navigation point.
    EXPECT_EQ((Strings{"page-1.html", "notes.htm", "second.html", "index.html", "page-2.html",
                       "index.html", "notes.htm", "second.html"}),
              kave2e::XPathTexts(byName["OEBPS/toc.ncx"].data, "//ncx:content/@src"));
    EXPECT_EQ((Strings{"Home"}), kave2e::XPathTexts(byName["OEBPS/page-1.html"].data, "//x:h1"));
    EXPECT_EQ(byName["OEBPS/page-1.html"].data.find("x()"), std::string::npos);
    ExpectEveryReferenceResolves(byName);
    kave2e::ExpectOnlyFindings(epub, c.findings);
  }
}

}  // namespace
