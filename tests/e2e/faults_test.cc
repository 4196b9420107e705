// Conversions hit by faults of the file system around them: each ends with
// its result code, leaves no partial book and no working files behind.

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "e2e/book_checks.h"
#include "platform/ebase/kav_ebase.h"
#include "service/kav_result.h"

namespace {

namespace fs = std::filesystem;

using Progress = std::function<void(int done)>;

// Txt2Epub or Mobi2Epub through the record, with progress calling onProgress.
int Convert(
    bool mobi, const std::string& input, const std::string& epub, const std::string& work,
    Progress onProgress = [](int) {}) {
  auto call = [](void* user, int done, int) { return (*static_cast<Progress*>(user))(done), 0; };
  TEpubService* service = CreateEpubService();
  const int result =
      mobi
          ? service->Mobi2Epub(input.c_str(), epub.c_str(), work.c_str(), &onProgress, call)
          : service->Txt2Epub(input.c_str(), epub.c_str(), work.c_str(), "", "", &onProgress, call);
  FreeEpubService(service);
  return result;
}

// No book, no staged part of one, and nothing left in the working directory.
void ExpectNoTrace(const std::string& epubDir, const std::string& work) {
  EXPECT_TRUE(fs::is_symlink(epubDir) || !fs::is_directory(epubDir) || fs::is_empty(epubDir));
  EXPECT_TRUE(fs::is_empty(work)) << "the caller's clean-up removes the working files";
}

// A text of lines of 120 letters that compress poorly, so that the book is
// about as large as the text.
struct Folders {
  kavtest::TempDir root;
  std::string work = root / "work", out = root / "out", txt = root / "book.txt",
              epub = out + "/book.epub";
  explicit Folders(size_t lines = 200) {
    kavtest::MakeDirs(work);
    kavtest::MakeDirs(out);
    std::string text = kave2e::RandomBytes(lines * 121, 7,
                                           "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ ");
    for (size_t end = 120; end < text.size(); end += 121) text[end] = '\n';
    kavtest::WriteFile(txt, text);
  }
};

TEST(Faults, OutputDirectoryChangingDuringConversionFailsWithoutPartialBook) {
  // It vanishes, becomes a file, or turns unwritable: /proc takes no new
  // files, not even from root.
  for (const char* change : {"vanishes", "file", "unwritable"}) {
    SCOPED_TRACE(change);
    Folders f;
    EXPECT_CODE(KAV_EBASE_ERR_OUTPUT, Convert(false, f.txt, f.epub, f.work, [&](int done) {
                  if (done != 2) return;
                  fs::remove_all(f.out);
                  if (change[0] == 'f') kavtest::WriteFile(f.out, "not a directory");
                  if (change[0] == 'u') fs::create_directory_symlink("/proc", f.out);
                }));
    ExpectNoTrace(f.out, f.work);
  }
}

TEST(Faults, FullDiskFailsWithoutPartialBook) {
  // A file size limit fails writes as a full disk does: a small one stops
  // the package document in the working directory, a larger one only the
  // packed book.
  for (const auto& [limit, code] : {std::pair<rlim_t, int>{4096, KAV_ERR_XML_SAVE},
                                    std::pair<rlim_t, int>{256 * 1024, KAV_EBASE_ERR_ARCHIVE}}) {
    SCOPED_TRACE(limit);
    Folders f(6000);
    // The limit holds in a child process, whose exit status is the code's
    // low byte.
    const rlimit both{limit, limit};
    EXPECT_EXIT(
        {
          signal(SIGXFSZ, SIG_IGN);
          setrlimit(RLIMIT_FSIZE, &both);
          _exit(Convert(false, f.txt, f.epub, f.work) & 0xff);
        },
        ::testing::ExitedWithCode(code & 0xff), "");
    ExpectNoTrace(f.out, f.work);
  }
}

TEST(Faults, WorkingDirectoryOnAnotherFileSystemMakesTheBook) {
  char shm[] = "/dev/shm/kavfaults-XXXXXX";
  struct stat shmStat, tmpStat;
  Folders f(130);
  if (mkdtemp(shm) == nullptr) GTEST_SKIP() << "no /dev/shm";
  std::shared_ptr<void> removeShm(nullptr, [&](void*) { fs::remove_all(shm); });
  if (stat(shm, &shmStat) != 0 || stat(f.root.path().c_str(), &tmpStat) != 0 ||
      shmStat.st_dev == tmpStat.st_dev) {
    GTEST_SKIP() << "/dev/shm and /tmp are one file system";
  }
  for (const auto& [work, out] : {std::pair<std::string, std::string>{shm, f.out}, {f.work, shm}}) {
    SCOPED_TRACE(work + " -> " + out);
    ASSERT_CODE(0, Convert(false, f.txt, out + "/book.epub", work));
    EXPECT_EQ(1u, kave2e::ReadBook(out + "/book.epub").count("OEBPS/page-3.html"));
    EXPECT_TRUE(fs::is_empty(work));
    fs::remove(out + "/book.epub");
  }
}

// A FIFO would block, /dev/zero never ends, /proc/self/mem opens but fails
// every read, and permissions stop everyone but root.
TEST(Faults, UnreadableTextPathsFailAsUnopenable) {
  Folders f;
  const std::string fifo = f.root / "fifo", locked = f.root / "locked.txt";
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  kavtest::WriteFile(locked, "a line\n");
  chmod(locked.c_str(), 0);
  for (const std::string& path : {fifo, std::string("/dev/zero"), std::string("/proc/self/mem"),
                                  geteuid() != 0 ? locked : fifo}) {
    SCOPED_TRACE(path);
    EXPECT_CODE(KAV_ERR_OPEN, Convert(false, path, f.epub, f.work));
    ExpectNoTrace(f.out, f.work);
  }
}

TEST(Faults, MobiFileChangingAfterItIsReadStillConverts) {
  const std::string original = kavtest::ReadFile("tests/data/mobi/lantern_mobi6.mobi");
  Folders f;
  const std::string mobi = f.root / "book.mobi";
  kavtest::WriteFile(mobi, original);
  // The reader has the whole book once opened: later changes do not reach it.
  ASSERT_CODE(0, Convert(true, mobi, f.epub, f.work, [&](int done) {
                if (done == 1) kavtest::WriteFile(mobi, original.substr(0, 100));
                if (done == 6) kavtest::WriteFile(mobi, "garbage");
              }));
  EXPECT_FALSE(kave2e::ReadBook(f.epub).empty());
  EXPECT_TRUE(fs::is_empty(f.work));
}

}  // namespace
