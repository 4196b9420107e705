// kav-epub as a user runs it: exit statuses, messages, outputs and the
// private working directory.

#include <stdio.h>
#include <sys/wait.h>

#include <string>

#include "e2e/book_checks.h"
#include "support/test_support.h"

namespace {

using kavtest::TempDir;

struct CliRun {
  int status;
  std::string output;  // standard output and standard error together
};

// Runs kav-epub with TMPDIR pointing into tmp, so that its working
// directories can be checked afterwards.
CliRun KavEpub(const std::string& arguments, const std::string& tmp) {
  std::string command = "TMPDIR='" + tmp + "' '" + kavtest::BuildPath("kav-epub") + "' " +
                        arguments + " 2>&1 </dev/null";
  CliRun run{-1, ""};
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  char buffer[4096];
  size_t got;
  while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) run.output.append(buffer, got);
  int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

class Cli : public ::testing::Test {
 protected:
  void SetUp() override { kavtest::MakeDirs(tmp_); }
  TempDir dir_;
  std::string tmp_ = dir_ / "tmp";
  std::string sample_ = kavtest::SourcePath("samples/the-clockmakers-apprentice.txt");
};

TEST_F(Cli, TxtWithTitleMakesANamedBookSilentlyAndCleansUp) {
  std::string epub = dir_ / "book.epub";
  CliRun run = KavEpub("txt '" + sample_ + "' '" + epub + "' --title 'The Clockmaker' --author Kav",
                    tmp_);
  EXPECT_EQ(0, run.status) << run.output;
  EXPECT_EQ("", run.output) << "no progress bar when standard error is not a terminal";
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty()) << "the working directory is removed";
  auto byName = kave2e::EntriesByName(kavtest::ReadZip(epub));
  const std::string& opf = byName["OEBPS/content.opf"].data;
  EXPECT_EQ((std::vector<std::string>{"The Clockmaker"}), kave2e::XPathTexts(opf, "//dc:title"));
  EXPECT_EQ((std::vector<std::string>{"Kav"}), kave2e::XPathTexts(opf, "//dc:creator"));
  // The same pages as the one-call conversion makes.
  std::string plain = dir_ / "plain.epub";
  ASSERT_EQ(0, KavEpub("txt '" + sample_ + "' '" + plain + "'", tmp_).status);
  auto plainByName = kave2e::EntriesByName(kavtest::ReadZip(plain));
  for (const char* page : {"OEBPS/page-1.html", "OEBPS/page-2.html"}) {
    EXPECT_EQ(plainByName[page].data, byName[page].data) << page;
  }
  kave2e::ExpectOnlyFindings(epub, {"HTM-004", "RSC-005", "NCX-001", "OPF-085"});
}

TEST_F(Cli, FailuresGiveOneLineWithTheCodeAndNoBook) {
  struct Case {
    std::string arguments;
    int status;
    std::string message;
  } cases[] = {
      {"txt '" + dir_ / "missing.txt" + "' '" + dir_ / "a.epub" + "'", 1, "(code 404)"},
      {"txt '" + sample_ + "' '" + dir_ / "no/such/dir/a.epub" + "'", 1, "(code 412)"},
      {"txt '" + sample_ + "' '" + dir_ / "no/such/dir/a.epub" + "' --title T", 1, "(code 412)"},
      {"txt only-one-argument", 2, "usage: kav-epub txt"},
      {"txt a b --colour red", 2, "unknown option --colour"},
      {"frobnicate", 2, "unknown command"},
      {"", 2, "usage: kav-epub"},
  };
  for (const Case& c : cases) {
    CliRun run = KavEpub(c.arguments, tmp_);
    EXPECT_EQ(c.status, run.status) << c.arguments << "\n" << run.output;
    EXPECT_NE(std::string::npos, run.output.find(c.message)) << c.arguments << "\n" << run.output;
    if (c.status == 1) {
      EXPECT_EQ(1u, kavtest::Lines(run.output).size() - 1) << run.output;
    }
  }
  EXPECT_FALSE(kavtest::Exists(dir_ / "a.epub"));
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty());
}

TEST_F(Cli, HelpAndVersionSucceed) {
  CliRun help = KavEpub("--help", tmp_);
  EXPECT_EQ(0, help.status);
  for (const char* command : {"txt ", "html ", "mobi "}) {
    EXPECT_NE(std::string::npos, help.output.find(command)) << help.output;
  }
  CliRun version = KavEpub("--version", tmp_);
  EXPECT_EQ(0, version.status);
  EXPECT_NE(std::string::npos, version.output.find("kav-epub 1.0.0")) << version.output;
}

}  // namespace
