// Which files of a tree a batch converts, into which books, and how the
// inputs are sliced between machines.

#include "cli/batch_plan.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <set>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace {

using Strings = std::vector<std::string>;

void SetChanged(const std::string& path, time_t seconds) {
  const timespec times[2] = {{seconds, 0}, {seconds, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0)) << path;
}

TEST(BatchPlan, FindsBooksByKindMirrorsNamesAndStartsHtmlBooksAtTopPages) {
  kavtest::TempDir dir;
  const std::string page = "<html><body><p>x</p></body></html>";
  // a/one.mobi has the book name of a/one.txt. site/index.html and ch1.html
  // link to each other: the index starts the book; links elsewhere, not
  // links, and absolute paths leave lone.htm a top page. A ring without an
  // index starts at its first page. Palm databases are books when their
  // type and creator (at offset 60) say so.
  const std::string palm(60, 'P');
  // clang-format off
  const std::pair<const char*, std::string> files[] = {
      {"a/one.txt", "one"}, {"a/one.mobi", "clash"}, {"a/b/Two.AZW3", "k"},
      {"notes.md", "not a book"}, {".hidden/three.txt", "hidden"}, {"lone.htm", page},
      {"site/ch1.html", "<a href=\"index.html#top\">back</a> <a href='../pics/p.html'>p</a>"},
      {"site/index.html",
       "<A HREF = ch1.html>1</A> <a href=\"http://x.org/lone.htm\"> <a data-href=\"../lone.htm\">"
       "<a href=\"mailto:lone.htm\"> <a href=\"/lone.htm\">"},
      {"pics/p.html", page}, {"ring/b.html", "<a href=\"a.html\">"},
      {"ring/a.html", "<a href=\"./b.html?x=1\">"}, {"palm/k.azw", palm + "BOOKMOBI"},
      {"palm/d.pdb", palm + "TEXtREAd"}, {"palm/app.prc", palm + "appllApp"},
      {"palm/cut.prc", palm + "BOOKMOB"}, {"palm/named.txt.pdb", "BOOKMOBI"}};
  // clang-format on
  for (const auto& [name, content] : files) {
    const std::string path = dir / name;
    kavtest::MakeDirs(path.substr(0, path.rfind('/')));
    kavtest::WriteFile(path, content);
    SetChanged(path, 1000);
  }
  SetChanged(dir / "pics/p.html", 3000);  // reached from site/index.html

  std::vector<kavcli::BatchItem> items;
  kavcli::ToolError error;
  ASSERT_TRUE(kavcli::PlanBatch(dir.path(), &items, &error));
  Strings got;
  for (const auto& item : items) got.push_back(item.input + " " + item.command + " " + item.output);
  EXPECT_EQ((Strings{"a/b/Two.AZW3 mobi a/b/Two.epub", "a/one.mobi mobi a/one.mobi.epub",
                     "a/one.txt txt a/one.txt.epub", "lone.htm html lone.epub",
                     "palm/d.pdb mobi palm/d.epub", "palm/k.azw mobi palm/k.epub",
                     "ring/a.html html ring/a.epub", "site/index.html html site/index.epub"}),
            got);
  EXPECT_EQ(3000, items.back().changed.tv_sec) << "the newest page of the book counts";
  EXPECT_EQ(1000, items[0].changed.tv_sec);

  EXPECT_FALSE(kavcli::PlanBatch(dir / "missing", &items, &error));
  EXPECT_NE(std::string::npos, kavcli::ToolMessage(error).find("missing"));
}

TEST(BatchPlan, ShardsSplitInputsIntoDisjointFairSlicesThatCoverAll) {
  int k = 0, n = 0;
  EXPECT_TRUE(kavcli::ParseShard("2/3", &k, &n) && k == 2 && n == 3);
  for (const char* text : {"0/2", "3/2", "1/0", "1/", "/2", "1/2x", "a/b", "-1/2", ""}) {
    EXPECT_FALSE(kavcli::ParseShard(text, &k, &n)) << text;
  }
  for (n = 1; n <= 7; n += 2) {
    std::vector<int> sizes(n, 0);
    for (int i = 0; i < 300; ++i) {
      const std::string input = "shelf/book-" + std::to_string(i) + ".txt";
      int slices = 0;
      for (k = 1; k <= n; ++k) {
        if (kavcli::InShard(input, k, n)) ++slices, ++sizes[k - 1];
      }
      EXPECT_EQ(1, slices) << input << " in " << n;
    }
    for (int size : sizes) EXPECT_GT(size, 300 / n / 2) << n;
  }
}

}  // namespace
