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

TEST_F(Cli, TxtWithTitleMakesANamedBookSilentlyAndCleansUp) {
  std::string epub = dir_ / "book.epub", plain = dir_ / "plain.epub", output;
  EXPECT_EQ(0, Run("txt '" + sample_ + "' '" + epub + "' --title 'The Clockmaker' --author Kav",
                   &output));
  EXPECT_EQ("", output) << "no progress bar when standard error is not a terminal";
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty()) << "the working directory is removed";
  auto book = kave2e::ReadBook(epub);
  const std::string& opf = book["OEBPS/content.opf"].data;
  EXPECT_EQ((Strings{"The Clockmaker"}), kave2e::XPathTexts(opf, "//dc:title"));
  EXPECT_EQ((Strings{"Kav"}), kave2e::XPathTexts(opf, "//dc:creator"));
  // The same pages as the one-call conversion makes.
  ASSERT_EQ(0, Run("txt '" + sample_ + "' '" + plain + "'", &output)) << output;
  auto plainBook = kave2e::ReadBook(plain);
  for (const char* page : {"OEBPS/page-1.html", "OEBPS/page-2.html"}) {
    EXPECT_EQ(plainBook[page].data, book[page].data) << page;
  }
  kave2e::ExpectOnlyFindings(epub, kave2e::kUsualFindings);
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
