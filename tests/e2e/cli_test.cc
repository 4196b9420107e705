// kav-epub as a user runs it: exit statuses, messages, outputs and the
// private working directory; its books read back as a reader would.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <vector>

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

// A failure is one line that names the file and what is wrong with it.
TEST_F(Cli, CommandLinesGiveTheirStatusAndMessage_FailuresOneLineNamingTheFileAndNoBook) {
  const std::string to = "' '" + dir_ / "a.epub" + "'", toNoDir = "' '" + dir_ / "no/a.epub" + "'";
  const std::string mobi = kavtest::SourcePath("tests/data/mobi/");
  std::vector<std::tuple<std::string, int, Strings>> cases = {
      {"txt '" + dir_ / "missing.txt" + to, 1, {dir_ / "missing.txt: no such file"}},
      {"'" + dir_ / "missing.txt" + "'", 1, {dir_ / "missing.txt: no such file"}},
      {"txt '" + dir_.path() + to, 1, {dir_.path() + ": is a directory"}},
      {"'" + dir_.path() + "'", 1, {dir_.path() + ": is a directory"}},
      {"txt '" + sample_ + toNoDir, 1, {dir_ / "no/a.epub: the directory " + dir_ / "no"}},
      {"txt '" + sample_ + toNoDir + " --title T", 1, {"no/a.epub: the directory"}},
      {"mobi '" + sample_ + to, 1, {sample_ + ": not a MOBI book"}},
      {"'" + mobi + "invalid/drm_lantern_mobi6.mobi" + to,
       1,
       {"drm_lantern_mobi6.mobi: the MOBI book is protected by DRM", "(code 624)"}},
      {"'" + dir_ / "copy.txt' -o '" + dir_ / "copy.txt'", 1, {"copy.txt: the book would be"}},
      {"txt '" + dir_ / "copy.txt' '" + dir_ / "copy.txt'", 1, {"over its own input"}},
      {"'" + dir_ / "a.epub" + "'", 1, {dir_ / "a.epub: is an EPUB book already"}},
      {"txt '" + sample_ + "' '" + dir_ / "dir.epub" + "'", 1, {"dir.epub: not a regular file"}},
      // A FIFO would block and /dev/zero never ends: both are refused at once.
      {"txt '" + dir_ / "fifo" + to, 1, {"fifo: not a regular file"}},
      {"txt '/dev/zero" + to + " --title T", 1, {"/dev/zero: not a regular file"}},
      {"txt only-one-argument", 2, {"usage: kav-epub txt"}},
      {"txt a b --colour red", 2, {"unknown option --colour"}},
      // The part of the pattern that is wrong is shown.
      {"txt '" + sample_ + to + " --chapters '^Chapter (\\d+'",
       2,
       {"--chapters: missing closing parenthesis at offset 13: ^Chapter (\\d+<-- here"}},
      {"txt '" + sample_ + to + " --language 'not a tag'", 1, {"not a language tag"}},
      {"txt a b --quiet=yes", 2, {"unknown option --quiet=yes"}},
      {"'" + sample_ + "' '" + dir_ / "a.html" + "'", 2, {"ends in .epub"}},
      {"'" + sample_ + "' '" + dir_ / "a.epub' -o x.epub", 2, {"one output at most"}},
      {"frobnicate", 2, {"unknown command or file 'frobnicate'"}},
      {"", 2, {"Usage: kav-epub"}},
      {"--help", 0, {"txt INPUT", "html INDEX", "mobi INPUT", "batch INPUT_DIR", "Exit status:"}},
      {"txt --help", 0, {"--title T", "--encoding E", "--no-chapters", "--chapters PATTERN", "-o, --output FILE", "-q, --quiet"}},
      {"html -h", 0, {"--cover IMAGE", "--output"}},
      {"batch --help", 0, {"-j, --jobs N", "--shard K/N"}},
      {"mobi --help", 0, {"--single-page"}},
      // A damaged table of contents: the book is written, with one line that says so.
      {"mobi '" + mobi + "damaged/ncx_lantern_kf8.mobi' '" + dir_ / "w.epub'",
       0,
       {"ncx_lantern_kf8.mobi: warning: the book's table of contents is damaged (1 flaw)"}},
      {"--version", 0, {"kav-epub 1.0.0"}},
  };
  if (geteuid() != 0) {  // root reads any file
    cases.push_back({"'" + dir_ / "secret.txt" + to, 1, {"secret.txt: cannot be read"}});
  }
  ASSERT_EQ(0, mkfifo((dir_ / "fifo").c_str(), 0600));
  kavtest::WriteFile(dir_ / "copy.txt", "words");
  kavtest::WriteFile(dir_ / "secret.txt", "words");
  chmod((dir_ / "secret.txt").c_str(), 0);
  kavtest::MakeDirs(dir_ / "dir.epub");
  for (const auto& [arguments, status, messages] : cases) {
    std::string output;
    EXPECT_EQ(status, Run(arguments, &output)) << arguments << "\n" << output;
    for (const std::string& message : messages)
      EXPECT_NE(std::string::npos, output.find(message)) << arguments << "\n" << output;
    EXPECT_TRUE(status != 1 || kavtest::Lines(output).size() == 2) << "one line\n" << output;
  }
  EXPECT_FALSE(kavtest::Exists(dir_ / "a.epub"));
  EXPECT_EQ("words", kavtest::ReadFile(dir_ / "copy.txt"));
  EXPECT_EQ(Strings{}, WorkDirsLeft());
}

// Without a command the input says which: a MOBI book by its header, under
// any name; the book goes beside the input, or to the second name or -o.
TEST_F(Cli, ShortFormPicksTheCommandFromTheInputAndNamesTheBookAfterIt) {
  const std::string mobi = kavtest::ReadFile("tests/data/mobi/plain_mobi6.mobi");
  kavtest::MakeDirs(dir_ / "in");
  kavtest::WriteFile(dir_ / "in/novel.txt", kavtest::ReadFile(sample_));
  for (const char* name : {"in/almanac.PRC", "in/mobi.txt", "in/noname"})
    kavtest::WriteFile(dir_ / name, mobi);
  kavtest::WriteFile(dir_ / "in/page.htm", "<p>One page</p>");
  // Read as text, the MOBI books would be titled after their files.
  const std::string almanac = "The Miller's Small Almanac";
  const std::tuple<std::string, std::string, std::string> runs[] = {
      {"in/novel.txt", "in/novel.epub", "novel"},
      {"in/almanac.PRC -q", "in/almanac.epub", almanac},
      {"in/mobi.txt m.epub", "m.epub", almanac},
      {"-o named in/noname", "named", almanac},
      {"in/page.htm", "in/page.epub", "page"},  // a page without <title>: its file's name
      {"in/page.htm --title P", "in/page.epub", "P"}};
  for (const auto& [arguments, book, title] : runs) {
    std::string output;
    ASSERT_EQ(0, kave2e::KavEpub("cd '" + dir_.path() + "' &&", arguments, &output)) << output;
    EXPECT_EQ(
        Strings{title},
        kave2e::XPathTexts(kave2e::ReadBook(dir_ / book)["OEBPS/content.opf"].data, "//dc:title"))
        << arguments;
  }
}

// An interrupt ends any conversion within a second or two, whatever the
// library is doing: the conversion's process is caught at work (in the
// import of a page of legacy tags, which once took tens of seconds, or
// laying out text pages) and then frozen, so that it cannot help. The tool
// exits with 128 + the signal and leaves no book (an older one stays as it
// was), no staged piece of one and no working directory.
TEST_F(Cli, InterruptEndsAnyConversionAtOnceAndLeavesNothing) {
  std::string page = "<html><body>", text;
  // Large enough that the import is still at work when the wait below
  // notices it: 5,000 pairs took a tenth of a second, which a 10 ms poll
  // could miss.
  for (int i = 0; i < 60000; ++i)
    page += "<font color=red>" + std::to_string(i) + "</font><center>c</center>";
  for (int i = 0; i < 15000; ++i) text += "The clockmaker's apprentice polished every gear.\n";
  kavtest::MakeDirs(dir_ / "out");
  kavtest::WriteFile(dir_ / "out/page.html", page);
  kavtest::WriteFile(dir_ / "out/long.txt", text);
  // Waits (up to some 20 seconds) until the conversion's process has laid
  // out the book's directory, freezes it, signals the tool and times it.
  const std::string busy =
      " 2>&1 & k=$!; i=0; until c=$(cat /proc/$k/task/$k/children) && "
      "[ -n \"$c\" ] && find '" +
      tmp_ +
      "' -path '*/OEBPS/*' | grep -q . || "
      "[ $i -gt 2000 ]; do sleep 0.01; i=$((i+1)); done; kill -STOP $c; "
      "s=$(date +%s%N); kill -";
  // Under valgrind (which the tool's processes inherit through LD_PRELOAD)
  // everything is slower. A tool that does not stop is killed after ten seconds.
  const char* preload = getenv("LD_PRELOAD");
  const int bound = preload != nullptr && strstr(preload, "vgpreload") != nullptr ? 8000 : 2000;
  const std::string timed =
      " $k; (sleep 10; kill -9 $k $c) >/dev/null 2>&1 & wait $k; r=$?; "
      "echo ms=$((($(date +%s%N) - s) / 1000000)); kill -CONT $c; exit $r";
  const std::tuple<std::string, std::string, std::string, int> runs[] = {
      {"out/page.html", "out/page.epub", "INT", 130},
      {"out/long.txt", "out/long.epub", "TERM", 143},
      {"html out/page.html -o", "out/page.epub", "TERM", 143}};
  for (const auto& [command, book, signal, status] : runs) {
    kavtest::WriteFile(dir_ / book, "an older book");
    std::string output;
    const std::string line =
        command + (command[0] == 'h' ? " " + book : "") + busy + signal + timed;
    EXPECT_EQ(status,
              kave2e::KavEpub("cd '" + dir_.path() + "' && TMPDIR='" + tmp_ + "'", line, &output))
        << line << "\n"
        << output;
    EXPECT_NE(std::string::npos, output.find("kav-epub: interrupted; no book was written"))
        << output;
    EXPECT_LT(std::stoi(output.substr(output.rfind("ms=") + 3)), bound) << line;
    EXPECT_EQ("an older book", kavtest::ReadFile(dir_ / book));
    for (const std::string& file : kavtest::ListFiles(dir_ / "out"))
      EXPECT_EQ(std::string::npos, file.find(".part")) << file;
    EXPECT_EQ(Strings{}, WorkDirsLeft()) << line;
  }
}

// A disk that fills up, under the book or under the working directory: a
// 64 KB file system mounted in a namespace of the test's own.
TEST_F(Cli, FullDiskIsNamedWithTheDirectoryItHolds) {
  std::string text, output;
  for (int i = 0; i < 20000; ++i) text += "The clockmaker's apprentice polished every gear.\n";
  kavtest::WriteFile(dir_ / "long.txt", text);
  kavtest::MakeDirs(dir_ / "small");
  const std::string mount =
      "unshare -rm sh -c \"mount -t tmpfs -o size=64k none '" + dir_ / "small" + "' && ";
  if (kavtest::RunCommand(mount + "true\"", &output) != 0)
    GTEST_SKIP() << "no mount namespace: " << output;
  const std::pair<std::string, std::string> runs[] = {
      {"'" + kavtest::BuildPath("kav-epub") + "' '" + dir_ / "long.txt' '" +
           dir_ / "small/long.epub'",
       dir_ / "small/long.epub: the disk is full (code 524)"},
      {"TMPDIR='" + dir_ / "small' '" + kavtest::BuildPath("kav-epub") + "' '" + dir_ / "long.txt'",
       dir_ / "small: the disk is full (code 413)"}};
  for (const auto& [line, message] : runs) {
    output.clear();
    EXPECT_EQ(1, kavtest::RunCommand(
                     mount + line + "; r=\\$?; ls -A '" + dir_ / "small'; exit \\$r\"", &output))
        << output;
    EXPECT_EQ("kav-epub: " + message + "\n", output) << "nothing left on the disk";
  }
  EXPECT_EQ((Strings{"long.txt"}), kavtest::ListFiles(dir_.path()));
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
