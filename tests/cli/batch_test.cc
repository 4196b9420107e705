// kav-epub batch over a tree of books: mirrored outputs, a summary, skips on
// a second run, slices for many machines, and interrupted runs that leave
// no partial book and resume.

#include <fcntl.h>
#include <sys/stat.h>

#include <set>
#include <string>

#include "e2e/book_checks.h"
#include "support/test_support.h"

namespace {

using kave2e::Strings;

const std::string kMobi = "../shared/fixtures/mobi/";

class Batch : public kave2e::KavEpubTest {
 protected:
  int RunBatch(const std::string& arguments, std::string* output) {
    output->clear();
    return Run("batch " + arguments, output);
  }
  void Put(const std::string& path, const std::string& content) {
    kavtest::MakeDirs((in_ + "/" + path).substr(0, (in_ + "/" + path).rfind('/')));
    kavtest::WriteFile(in_ + "/" + path, content);
  }
  // Four books (one of two linked pages) and one broken file.
  void PutLibrary() {
    Put("novels/clock.txt", "The clockmaker's apprentice.\n");
    Put("site/index.html",
        "<html><body><p>Contents <a href=\"ch1.html\">one</a></p></body></html>");
    Put("site/ch1.html", "<html><body><p>Chapter <a href=\"index.html\">up</a></p></body></html>");
    Put("notes.md", "not a book");
    Put("kindle/lantern.azw3", kavtest::ReadFile(kMobi + "lantern_kf8.mobi"));
    Put("kindle/plain.mobi", kavtest::ReadFile(kMobi + "plain_mobi6.mobi"));
    Put("broken.mobi", "words, not a book\n");
  }
  std::string in_ = dir_ / "in";
  std::string out_ = dir_ / "out";
};

const Strings kBooks = {"kindle/lantern.epub", "kindle/plain.epub", "novels/clock.epub",
                        "site/index.epub"};

TEST_F(Batch, ConvertsTheTreeSummarisesFailuresAndSkipsWhatIsDoneOnTheNextRun) {
  PutLibrary();
  std::string output;
  EXPECT_EQ(1, RunBatch("'" + in_ + "' '" + out_ + "' -j 3", &output)) << output;
  EXPECT_EQ((Strings{"converted 4, skipped 0, failed 1",
                     "failed: broken.mobi: the MOBI book is truncated or damaged (code 623)", ""}),
            kavtest::Lines(output));
  EXPECT_EQ(kBooks, kavtest::ListFiles(out_));
  for (const std::string& book : kBooks) {
    EXPECT_EQ("application/epub+zip", kave2e::ReadBook(out_ + "/" + book)["mimetype"].data) << book;
  }

  EXPECT_EQ(1, RunBatch("-q '" + in_ + "' '" + out_ + "'", &output));
  EXPECT_EQ(0u, output.find("converted 0, skipped 4, failed 1\n")) << output;
  // A changed input, and one of the pages of an HTML book, are done again.
  Put("novels/clock.txt", "The clockmaker's second apprentice.\n");
  const timespec later[2] = {{time(nullptr) + 60, 0}, {time(nullptr) + 60, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, (in_ + "/site/ch1.html").c_str(), later, 0));
  kavtest::WriteFile(in_ + "/broken.mobi", kavtest::ReadFile(kMobi + "plain_mobi6.mobi"));
  EXPECT_EQ(0, RunBatch("'" + in_ + "' '" + out_ + "'", &output)) << output;
  EXPECT_EQ("converted 3, skipped 2, failed 0\n", output);
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty());
}

TEST_F(Batch, ShardsTogetherConvertEveryBookOnce) {
  PutLibrary();
  std::set<std::string> all;
  for (const char* shard : {"1/2", "2/2"}) {
    const std::string out = dir_ / ("out" + std::string(shard).substr(0, 1));
    std::string output;
    RunBatch("'" + in_ + "' '" + out + "' --shard " + shard, &output);
    for (const std::string& book : kavtest::ListFiles(out)) {
      EXPECT_TRUE(all.insert(book).second) << book << " converted by two shards";
    }
  }
  EXPECT_EQ(std::set<std::string>(kBooks.begin(), kBooks.end()), all);
  std::string output;
  EXPECT_EQ(2, RunBatch("'" + in_ + "' '" + out_ + "' --shard 3/2", &output));
  EXPECT_EQ(2, RunBatch("'" + in_ + "' '" + out_ + "' -j 0", &output));
  EXPECT_NE(std::string::npos, output.find("-j needs a number")) << output;
}

TEST_F(Batch, InterruptedBatchLeavesNoPartialBookAndTheNextRunCompletes) {
  // Large enough that conversions are still running when the batch is hit.
  std::string text;
  for (int i = 0; i < 15000; ++i) text += "The clockmaker's apprentice polished every gear.\n";
  const Strings books = {"a.epub", "b.epub", "c.epub"};
  for (const std::string& book : books) Put(book.substr(0, 1) + ".txt", text);
  const struct {
    const char* how;
    const char* target;  // whom the signal goes to, in the shell
    int status;
  } interruptions[] = {{"INT", "$batch", 130},
                       {"KILL", "$(cut -d' ' -f1 /proc/$batch/task/$batch/children)", 1}};
  for (const auto& hit : interruptions) {
    const std::string out = out_ + "-" + hit.how;
    // Waits (up to some 20 seconds) until a worker has laid out pages, then
    // signals.
    const std::string script = "TMPDIR='" + tmp_ + "' '" + kavtest::BuildPath("kav-epub") +
                               "' batch '" + in_ + "' '" + out + "' -j 2 & batch=$!; i=0; " +
                               "until find '" + tmp_ + "' -path '*/OEBPS/page-*' | grep -q . " +
                               "|| [ $i -gt 2000 ]; do sleep 0.01; i=$((i+1)); done; kill -" +
                               hit.how + " " + hit.target + "; wait $batch";
    std::string output;
    EXPECT_EQ(hit.status, kave2e::RunCommand("{ " + script + "; }", &output)) << hit.how << "\n"
                                                                              << output;
    const Strings done = kavtest::ListFiles(out);
    EXPECT_LT(done.size(), books.size()) << hit.how;
    for (const std::string& book : done) {
      EXPECT_EQ("application/epub+zip", kave2e::ReadBook(out + "/" + book)["mimetype"].data)
          << hit.how << ": " << book;
    }
    EXPECT_TRUE(kavtest::ListFiles(tmp_).empty()) << hit.how;
    EXPECT_EQ(0, RunBatch("'" + in_ + "' '" + out + "'", &output)) << output;
    EXPECT_EQ(0u, output.find("converted " + std::to_string(books.size() - done.size()) +
                              ", skipped " + std::to_string(done.size())))
        << output;
    EXPECT_EQ(books, kavtest::ListFiles(out));
  }
}

}  // namespace
