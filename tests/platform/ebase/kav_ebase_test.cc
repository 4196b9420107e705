#include "platform/ebase/kav_ebase.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace {

class PackBookTest : public ::testing::Test {
 protected:
  // A small book; the symbolic links point outside it and must not be packed.
  void SetUp() override {
    kavtest::MakeDirs(book + "/META-INF");
    kavtest::MakeDirs(book + "/OEBPS/images/sub");
    kavtest::MakeDirs(out);
    kavtest::WriteFile(book + "/mimetype", "application/epub+zip");
    kavtest::WriteFile(book + "/META-INF/container.xml", "<container/>\n");
    for (const char* name : {"page-10.html", "page-2.html", "images-a.css", "images/sub/x.png"}) {
      kavtest::WriteFile(book + "/OEBPS/" + name, std::string(name) + std::string(300, 'q'));
    }
    kavtest::WriteFile(tmp / "secret", "outside");
    ASSERT_EQ(0, symlink((tmp / "secret").c_str(), (book + "/OEBPS/link").c_str()));
    ASSERT_EQ(0, symlink(tmp.path().c_str(), (book + "/OEBPS/dirlink").c_str()));
  }
  kavtest::TempDir tmp;
  std::string book = tmp / "book", out = tmp / "out", epub = tmp / "out/b.epub";
};

TEST_F(PackBookTest, ReplacesOutputWithStoredMimetypeFirstThenSortedDeflatedCopies) {
  kavtest::WriteFile(epub, "an older book");
  const mode_t oldMask = umask(022);
  const int code = Kav_CreateEpubFromDir(book.c_str(), epub.c_str());
  umask(oldMask);
  ASSERT_CODE(0, code);
  const std::vector<std::string> order = {"mimetype",           "META-INF/container.xml",
                                          "OEBPS/images-a.css", "OEBPS/images/sub/x.png",
                                          "OEBPS/page-10.html", "OEBPS/page-2.html"};
  const std::vector<kavtest::ZipEntry> entries = kavtest::ReadZip(epub);
  ASSERT_EQ(order.size(), entries.size());
  for (size_t i = 0; i < order.size(); ++i) {
    EXPECT_EQ(order[i], entries[i].name);
    EXPECT_EQ(i == 0, entries[i].stored) << order[i];
    EXPECT_EQ(kavtest::ReadFile(book + "/" + order[i]), entries[i].data) << order[i];
  }
  const std::string bytes = kavtest::ReadFile(epub);
  EXPECT_EQ(std::string("\0\0", 2), bytes.substr(28, 2)) << "mimetype has an extra field";
  EXPECT_EQ("mimetypeapplication/epub+zip", bytes.substr(30, 28));
  EXPECT_EQ(0, system(("unzip -tq '" + epub + "' >/dev/null").c_str()));
  struct stat st;
  ASSERT_EQ(0, stat(epub.c_str(), &st));
  EXPECT_EQ(0644u, st.st_mode & 0777) << "not the mode of a new file under umask 022";
  EXPECT_EQ(std::vector<std::string>{"b.epub"}, kavtest::ListFiles(out)) << "temporary left";
}

TEST_F(PackBookTest, BadInputGivesCodeAndWritesNothing) {
  kavtest::MakeDirs(tmp / "nomime/OEBPS");
  kavtest::WriteFile(tmp / "nomime/OEBPS/p.html", "p");
  kavtest::MakeDirs(tmp / "mimedir/mimetype");
  // A read-only directory stops everyone but root; root cannot create files in /proc.
  chmod(out.c_str(), 0555);
  const std::string readOnly = geteuid() == 0 ? "/proc/b.epub" : epub;
  const struct {
    std::string bookDir, epubPath;
    int code;
  } cases[] = {
      {"", epub, KAV_EBASE_ERR_ARGUMENT},
      {book, "", KAV_EBASE_ERR_ARGUMENT},
      {tmp / "none", epub, KAV_EBASE_ERR_BOOK_DIR},
      {book + "/mimetype", epub, KAV_EBASE_ERR_BOOK_DIR},
      {tmp / "nomime", epub, KAV_EBASE_ERR_NO_MIMETYPE},
      {tmp / "mimedir", epub, KAV_EBASE_ERR_NO_MIMETYPE},
      {book, tmp / "none/b.epub", KAV_EBASE_ERR_OUTPUT},
      {book, readOnly, KAV_EBASE_ERR_OUTPUT},
  };
  for (const auto& c : cases) {
    EXPECT_CODE(c.code, Kav_CreateEpubFromDir(c.bookDir.c_str(), c.epubPath.c_str()))
        << c.bookDir << " -> " << c.epubPath;
  }
  EXPECT_CODE(KAV_EBASE_ERR_ARGUMENT, Kav_CreateEpubFromDir(nullptr, epub.c_str()));
  EXPECT_CODE(KAV_EBASE_ERR_ARGUMENT, Kav_CreateEpubFromDir(book.c_str(), nullptr));
  EXPECT_TRUE(kavtest::ListFiles(out).empty());
}

// Packs in a child whose files may not grow past limit bytes, so writing fails
// halfway even for root; the result comes back modulo 256 as the exit status.
int PackWithFileSizeLimit(const std::string& book, const std::string& epub, rlim_t limit) {
  const pid_t child = fork();
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {limit, limit};
    setrlimit(RLIMIT_FSIZE, &small);
    _exit(Kav_CreateEpubFromDir(book.c_str(), epub.c_str()) % 256);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(PackBookTest, FailureKeepsEarlierOutputAndLeavesNoTemporary) {
  std::string noise(256 * 1024, '\0');  // pseudo-random, so deflate cannot shrink it
  uint32_t state = 1;
  for (char& c : noise) c = static_cast<char>((state = state * 1664525u + 1013904223u) >> 24);
  kavtest::WriteFile(book + "/OEBPS/images/big.bin", noise);
  kavtest::WriteFile(epub, "an older book");
  EXPECT_CODE(KAV_EBASE_ERR_ARCHIVE % 256, PackWithFileSizeLimit(book, epub, 64 * 1024));
  EXPECT_EQ("an older book", kavtest::ReadFile(epub));
  // A directory in the target's place cannot be renamed over.
  const std::string dirTarget = out + "/d.epub";
  kavtest::MakeDirs(dirTarget + "/keep");
  EXPECT_CODE(KAV_EBASE_ERR_RENAME, Kav_CreateEpubFromDir(book.c_str(), dirTarget.c_str()));
  EXPECT_TRUE(kavtest::IsDir(dirTarget + "/keep"));
  EXPECT_EQ(std::vector<std::string>{"b.epub"}, kavtest::ListFiles(out));
}

}  // namespace
