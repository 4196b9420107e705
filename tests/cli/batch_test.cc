// kav-epub batch over a tree of books: mirrored outputs, a summary, skips on
// a second run, slices for many machines, and interrupted runs that leave
// no partial book and resume.

#include <fcntl.h>
#include <sys/stat.h>

#include <set>
#include <string>
#include <tuple>

#include "e2e/book_checks.h"

namespace {

using kave2e::Strings;

const std::string kMobi = "tests/data/mobi/";
const Strings kBooks = {"kindle/cycle.epub", "kindle/lantern.epub", "kindle/plain.epub",
                        "novels/clock.epub", "site/index.epub"};

class Batch : public kave2e::KavEpubTest {
 protected:
  int RunBatch(const std::string& out, const std::string& options = "") {
    output_.clear();
    return Run("batch " + options + " '" + in_ + "' '" + out + "'", &output_);
  }
  void Put(const std::string& path, const std::string& content) {
    kavtest::MakeDirs((in_ + "/" + path).substr(0, (in_ + "/" + path).rfind('/')));
    kavtest::WriteFile(in_ + "/" + path, content);
  }
  // Five books (one of two linked pages, one whose table of contents
  // loops) and one broken file.
  void PutLibrary() {
    Put("novels/clock.txt", "The clockmaker's apprentice.\n");
    Put("site/index.html", "<p>Contents <a href=\"ch1.html\">one</a></p>");
    Put("site/ch1.html", "<p>Chapter <a href=\"index.html\">up</a></p>");
    Put("notes.md", "not a book");
    Put("kindle/lantern.azw3", kavtest::ReadFile(kMobi + "lantern_kf8.mobi"));
    Put("kindle/plain.mobi", kavtest::ReadFile(kMobi + "plain_mobi6.mobi"));
    Put("kindle/cycle.mobi", kavtest::ReadFile(kMobi + "damaged/ncx-cycle_toc2_mobi6.mobi"));
    Put("broken.mobi", "words, not a book\n");
  }
  void ExpectWhole(const std::string& out, const Strings& books) {
    for (const std::string& book : books) {
      EXPECT_EQ("application/epub+zip", kave2e::ReadBook(out + "/" + book)["mimetype"].data)
          << out << ": " << book;
    }
  }
  std::string in_ = dir_ / "in", out_ = dir_ / "out", output_;
};

TEST_F(Batch, ConvertsTheTreeWholeOrInShards_SummarisesFailures_SkipsWhatIsDoneOnTheNextRun) {
  PutLibrary();
  std::set<std::string> all;
  for (const std::string shard : {"1/2", "2/2"}) {
    RunBatch(out_ + shard[0], "--shard " + shard);
    for (const std::string& book : kavtest::ListFiles(out_ + shard[0]))
      EXPECT_TRUE(all.insert(book).second) << book << " converted by two shards";
  }
  EXPECT_EQ(std::set<std::string>(kBooks.begin(), kBooks.end()), all);
  EXPECT_EQ(2, RunBatch(out_, "--shard 3/2"));
  EXPECT_EQ(2, RunBatch(out_, "-j 0"));
  EXPECT_NE(std::string::npos, output_.find("-j needs a number")) << output_;
  EXPECT_EQ(1, RunBatch(out_, "-j 3")) << output_;
  EXPECT_EQ((Strings{"converted 5, skipped 0, failed 1", "failed: broken.mobi: not a MOBI book",
                     "warning: kindle/cycle.mobi: the book's table of contents is damaged (2 "
                     "flaws); the book keeps the entries that could be placed",
                     ""}),
            kavtest::Lines(output_));
  EXPECT_EQ(kBooks, kavtest::ListFiles(out_));
  ExpectWhole(out_, kBooks);
  EXPECT_EQ(1, RunBatch(out_, "-q"));
  EXPECT_EQ(0u, output_.find("converted 0, skipped 5, failed 1\n")) << output_;
  // A changed input, and one of the pages of an HTML book, are done again.
  Put("novels/clock.txt", "The clockmaker's second apprentice.\n");
  const timespec later[2] = {{time(nullptr) + 60, 0}, {time(nullptr) + 60, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, (in_ + "/site/ch1.html").c_str(), later, 0));
  kavtest::WriteFile(in_ + "/broken.mobi", kavtest::ReadFile(kMobi + "plain_mobi6.mobi"));
  EXPECT_EQ(0, RunBatch(out_)) << output_;
  EXPECT_EQ("converted 3, skipped 3, failed 0\n", output_);
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty());
}

TEST_F(Batch, InterruptedBatchLeavesNoPartialBookAndTheNextRunCompletes) {
  // Large enough that conversions are still running when the batch is hit.
  std::string text;
  for (int i = 0; i < 15000; ++i) text += "The clockmaker's apprentice polished every gear.\n";
  const Strings books = {"a.epub", "b.epub", "c.epub"};
  for (const std::string& book : books) Put(book.substr(0, 1) + ".txt", text);
  // Waits (up to some 20 seconds) until a worker has laid out pages.
  const std::string waitForPages = "i=0; until find '" + tmp_ + "' -path '*/OEBPS/page-*' | " +
                                   "grep -q . || [ $i -gt 2000 ]; do sleep 0.01; i=$((i+1)); done";
  // The signal, whom it goes to (in the shell), and the batch's status. The
  // batch passes an interrupt on to its workers and ends within a second or two.
  const std::tuple<std::string, std::string, int> hits[] = {
      {"INT", "$batch", 130},
      {"TERM", "$batch", 143},
      {"KILL", "$(cut -d' ' -f1 /proc/$batch/task/$batch/children)", 1}};
  for (const auto& [how, target, status] : hits) {
    const std::string out = out_ + "-" + how;
    EXPECT_EQ(status, Run("batch '" + in_ + "' '" + out + "' -j 2 2>&1 & batch=$!; " +
                              waitForPages + "; s=$(date +%s%N); kill -" + how + " " + target +
                              "; wait $batch; r=$?; echo ms=$((($(date +%s%N) - s) / 1000000));"
                              " exit $r",
                          &output_))
        << how << "\n"
        << output_;
    if (status > 128) {
      EXPECT_LT(std::stoi(output_.substr(output_.rfind("ms=") + 3)), 2000) << how;
    }
    const Strings done = kavtest::ListFiles(out);
    EXPECT_LT(done.size(), books.size()) << how;
    ExpectWhole(out, done);
    EXPECT_EQ(Strings{}, WorkDirsLeft()) << how;
    EXPECT_EQ(0, RunBatch(out)) << output_;
    EXPECT_EQ(0u, output_.find("converted " + std::to_string(books.size() - done.size()) +
                               ", skipped " + std::to_string(done.size())))
        << output_;
    EXPECT_EQ(books, kavtest::ListFiles(out));
  }
}

}  // namespace
