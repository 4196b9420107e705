// kav-epub as a user runs it: exit statuses, messages, outputs and the
// private working directory; its books read back as a reader would.

#include <sys/stat.h>

#include <map>
#include <string>
#include <tuple>

#include "e2e/book_checks.h"

namespace {

using kave2e::Strings;

class Cli : public kave2e::KavEpubTest {
 protected:
  std::string sample_ = kavtest::SourcePath("samples/the-clockmakers-apprentice.txt");
};

// By default the sample's "Part ..." lines become chapters listed under their
// own text, the lines before them a page listed under the title, which is
// the file's name. --no-chapters gives the numbered sixty-line pages. Both
// pass epubcheck with no empty-title warning.
TEST_F(Cli, TxtMakesAChapteredBookNamedAfterItsFileSilentlyAndCleansUp) {
  std::string epub = dir_ / "book.epub", named = dir_ / "named.epub", output;  // of both runs
  for (const std::string& out :
       {"'" + epub + "'",
        "'" + named + "' --no-chapters --title 'Tom & Jerry <Tales>' --author Kav"})
    ASSERT_EQ(0, Run("txt '" + sample_ + "' " + out, &output)) << output;
  EXPECT_EQ("", output) << "no progress bar when standard error is not a terminal";
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty()) << "the working directory is removed";
  auto book = kave2e::ReadBook(epub), namedBook = kave2e::ReadBook(named);
  const char* kPeople = "//dc:title | //dc:creator | //dc:language";
  EXPECT_EQ((Strings{"the-clockmakers-apprentice", "", "en"}),
            kave2e::XPathTexts(book["OEBPS/content.opf"].data, kPeople));
  EXPECT_EQ((Strings{"Tom & Jerry <Tales>", "Kav", "en"}),
            kave2e::XPathTexts(namedBook["OEBPS/content.opf"].data, kPeople));
  Strings labels = {"the-clockmakers-apprentice"};
  for (const std::string& line : kavtest::Lines(kavtest::ReadFile(sample_)))
    if (line.rfind("Part ", 0) == 0) labels.push_back(line);
  ASSERT_EQ(4u, labels.size());
  EXPECT_EQ(labels, kave2e::XPathTexts(book["OEBPS/toc.ncx"].data, "//ncx:navLabel"));
  for (size_t i = 1; i < labels.size(); ++i) {
    const std::string page = "OEBPS/page-" + std::to_string(i + 1) + ".html";
    EXPECT_EQ(Strings{labels[i]}, kave2e::XPathTexts(book[page].data, "//x:h2")) << page;
  }
  EXPECT_EQ((Strings{"1", "2"}),
            kave2e::XPathTexts(namedBook["OEBPS/toc.ncx"].data, "//ncx:navLabel"));
  EXPECT_EQ(0u, namedBook.count("OEBPS/page-3.html"));
  kave2e::ExpectOnlyFindings(named, kave2e::kUsualFindings);
  kave2e::ExpectOnlyFindings(epub, kave2e::kUsualFindings);
}

TEST_F(Cli, CommandLinesGiveTheirStatusAndMessage_FailuresOneLineAndNoBook) {
  const std::string to = "' '" + dir_ / "a.epub" + "'", toNoDir = "' '" + dir_ / "no/a.epub" + "'";
  const std::tuple<std::string, int, Strings> cases[] = {
      {"txt '" + dir_ / "missing.txt" + to, 1, {"(code 404)"}},
      {"txt '" + sample_ + toNoDir, 1, {"(code 412)"}},
      {"txt '" + sample_ + toNoDir + " --title T", 1, {"(code 412)"}},
      // A FIFO would block and /dev/zero never ends: both are refused at once.
      {"txt '" + dir_ / "fifo" + to, 1, {"(code 404)"}},
      {"txt '" + dir_ / "fifo" + to + " --title T", 1, {"(code 404)"}},
      {"txt '/dev/zero" + to, 1, {"(code 404)"}},
      {"txt only-one-argument", 2, {"usage: kav-epub txt"}},
      {"txt a b --colour red", 2, {"unknown option --colour"}},
      // The part of the pattern that is wrong is shown.
      {"txt '" + sample_ + to + " --chapters '^Chapter (\\d+'",
       2,
       {"--chapters: missing closing parenthesis at offset 13: ^Chapter (\\d+<-- here"}},
      {"txt '" + sample_ + to + " --language 'not a tag'", 1, {"not a language tag"}},
      {"frobnicate", 2, {"unknown command"}},
      {"", 2, {"usage: kav-epub"}},
      {"--help", 0, {"txt ", "html ", "mobi "}},
      {"--version", 0, {"kav-epub 1.0.0"}},
  };
  ASSERT_EQ(0, mkfifo((dir_ / "fifo").c_str(), 0600));
  for (const auto& [arguments, status, messages] : cases) {
    std::string output;
    EXPECT_EQ(status, Run(arguments, &output)) << arguments << "\n" << output;
    for (const std::string& message : messages)
      EXPECT_NE(std::string::npos, output.find(message)) << arguments << "\n" << output;
    EXPECT_TRUE(status != 1 || kavtest::Lines(output).size() == 2) << "one line\n" << output;
  }
  EXPECT_FALSE(kavtest::Exists(dir_ / "a.epub"));
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty());
}

// A small web site with a cover (a PNG, labelled image/jpeg all the same).
// epubcheck finds any link or picture that names no file or id of the book.
TEST_F(Cli, HtmlSiteBecomesAFlatBookWithACover) {
  const std::string figure = kavtest::ReadFile("tests/data/mobi/src/figure1.png");
  for (const char* folder : {"site/img", "site/css"}) kavtest::MakeDirs(dir_ / folder);
  kavtest::WriteFile(dir_ / "site/img/figure1.png", figure);
  kavtest::WriteFile(dir_ / "cover.png", figure);
  kavtest::WriteFile(dir_ / "site/css/site.css", "p { margin: 0 }");
  const std::string head = "</title><link rel=\"stylesheet\" href=\"css/site.css\"></head><body>";
  for (const auto& [name, body] : std::map<std::string, std::string>{
           {"index.html",
            "<h1 id=\"top\">Home</h1><p>A figure: <img src=\"img/figure1.png\" alt=\"fig\"></p>"
            "<p><a href=\"second.html\">on</a>, <a href=\"notes.htm\">notes</a>, <a href=\"#top\">"
            "top</a>, <a href=\"missing.html\">gone</a>, <a href=\"http://example.com/x.html\">"
            "far</a>.</p><script>x()</script>"},
           // An anchor that links nowhere loses its id, and a link to it dangles.
           {"second.html",
            "<p><a href=\"index.html\">back</a> <img src=\"img/figure1.png\" alt=\"again\"></p>"
            "<p><a href=\"#nowhere\" id=\"toc\">contents</a> <a href=\"#toc\">up</a></p>"},
           {"notes.htm", "<p><a href=\"second.html\">second</a></p>"}})
    kavtest::WriteFile(dir_ / "site/" + name, "<html><head><title>" + name + head + body);
  std::string output, epub = dir_ / "book.epub";
  const std::string arguments =
      "html index.html second.html ../book.epub --title T --author A --quiet --cover ../cover.png";
  ASSERT_EQ(0, kave2e::KavEpub("cd '" + dir_ / "site" + "' &&", arguments, &output)) << output;
  EXPECT_EQ("", output);
  auto book = kave2e::ReadBook(epub);
  EXPECT_EQ((Strings{figure, figure}),
            (Strings{book["OEBPS/figure1.png"].data, book["OEBPS/images/cover.png"].data}));
  EXPECT_EQ((Strings{"cover-image", "images/cover.png", "image/jpeg"}),
            kave2e::XPathTexts(book["OEBPS/content.opf"].data, "//opf:item[@id='cover-image']/@*"));
  EXPECT_EQ(13u, book.size()) << "the three pages, the picture, the cover and the book's own";
  EXPECT_EQ((Strings{"Home"}), kave2e::XPathTexts(book["OEBPS/page-1.html"].data, "//x:h1"));
  // Without --title the book is named by the top page's title.
  ASSERT_EQ(0, kave2e::KavEpub("cd '" + dir_ / "site" + "' &&",
                               "html index.html ../untitled.epub --quiet", &output));
  EXPECT_EQ((Strings{"index.html"}),
            kave2e::XPathTexts(kave2e::ReadBook(dir_ / "untitled.epub")["OEBPS/content.opf"].data,
                               "//dc:title"));
  kave2e::ExpectOnlyFindings(
      epub, {"HTM-004", "OPF-085", "NCX-001", "RSC-005", "RSC-010", "OPF-029", "RSC-012"});
}

}  // namespace
