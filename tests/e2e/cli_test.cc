// kav-epub as a user runs it: exit statuses, messages, outputs and the
// private working directory.

#include <string>

#include "e2e/book_checks.h"
#include "support/test_support.h"

namespace {

using kave2e::Strings;

class Cli : public ::testing::Test {
 protected:
  void SetUp() override { kavtest::MakeDirs(tmp_); }
  // TMPDIR points into the test's directory so kav-epub's working
  // directories can be checked afterwards.
  int Run(const std::string& arguments, std::string* output) {
    return kave2e::KavEpub("TMPDIR='" + tmp_ + "'", arguments, output);
  }
  kavtest::TempDir dir_;
  std::string tmp_ = dir_ / "tmp";
  std::string sample_ = kavtest::SourcePath("samples/the-clockmakers-apprentice.txt");
};

// Without a title the one-call conversion makes the book (its title empty);
// with one, the pages are built one by one, and come out the same.
TEST_F(Cli, TxtMakesItsBookSilentlyAndCleansUp) {
  std::string epub = dir_ / "book.epub", named = dir_ / "named.epub", output;
  ASSERT_EQ(0, Run("txt '" + sample_ + "' '" + epub + "'", &output)) << output;
  ASSERT_EQ(0, Run("txt '" + sample_ + "' '" + named + "' --title 'The Clockmaker' --author Kav",
                   &output));
  EXPECT_EQ("", output) << "no progress bar when standard error is not a terminal";
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty()) << "the working directory is removed";
  auto book = kave2e::ReadBook(epub), namedBook = kave2e::ReadBook(named);
  EXPECT_EQ((Strings{"", ""}),
            kave2e::XPathTexts(book["OEBPS/content.opf"].data, "//dc:title | //dc:creator"));
  EXPECT_EQ((Strings{"The Clockmaker", "Kav"}),
            kave2e::XPathTexts(namedBook["OEBPS/content.opf"].data, "//dc:title | //dc:creator"));
  for (const char* page : {"OEBPS/page-1.html", "OEBPS/page-2.html"}) {
    EXPECT_EQ(book[page].data, namedBook[page].data) << page;
  }
  EXPECT_EQ(0u, book.count("OEBPS/page-3.html"));
  Strings findings = kave2e::kUsualFindings;
  findings.push_back("OPF-055");
  kave2e::ExpectOnlyFindings(epub, findings);
}

TEST_F(Cli, CommandLinesGiveTheirStatusAndMessage_FailuresOneLineAndNoBook) {
  struct Case {
    std::string arguments;
    int status;
    Strings messages;
  } cases[] = {
      {"txt '" + dir_ / "missing.txt" + "' '" + dir_ / "a.epub" + "'", 1, {"(code 404)"}},
      {"txt '" + sample_ + "' '" + dir_ / "no/such/dir/a.epub" + "'", 1, {"(code 412)"}},
      {"txt '" + sample_ + "' '" + dir_ / "no/such/dir/a.epub" + "' --title T", 1, {"(code 412)"}},
      {"txt only-one-argument", 2, {"usage: kav-epub txt"}},
      {"txt a b --colour red", 2, {"unknown option --colour"}},
      {"frobnicate", 2, {"unknown command"}},
      {"", 2, {"usage: kav-epub"}},
      {"--help", 0, {"txt ", "html ", "mobi "}},
      {"--version", 0, {"kav-epub 1.0.0"}},
  };
  for (const Case& c : cases) {
    std::string output;
    EXPECT_EQ(c.status, Run(c.arguments, &output)) << c.arguments << "\n" << output;
    for (const std::string& message : c.messages) {
      EXPECT_NE(std::string::npos, output.find(message)) << c.arguments << "\n" << output;
    }
    EXPECT_TRUE(c.status != 1 || kavtest::Lines(output).size() == 2) << "one line\n" << output;
  }
  EXPECT_FALSE(kavtest::Exists(dir_ / "a.epub"));
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty());
}

}  // namespace
