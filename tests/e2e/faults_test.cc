// Conversions hit by faults of the file system around them: each ends with
// its result code, leaves no partial book and no working files behind.

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "e2e/book_checks.h"
#include "platform/ebase/kav_ebase.h"
#include "platform/mobi/kav_mobi.h"
#include "service/kav_epub.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

namespace fs = std::filesystem;

using Progress = std::function<void(int done)>;

int CallProgress(void* user, int done, int) {
  (*static_cast<Progress*>(user))(done);
  return 0;
}

// Txt2Epub or Mobi2Epub through the record, with progress calling onProgress.
int Convert(
    bool mobi, const std::string& input, const std::string& epub, const std::string& work,
    Progress onProgress = [](int) {}) {
  TEpubService* service = CreateEpubService();
  const int result = mobi ? service->Mobi2Epub(input.c_str(), epub.c_str(), work.c_str(),
                                               &onProgress, CallProgress)
                          : service->Txt2Epub(input.c_str(), epub.c_str(), work.c_str(), "", "",
                                              &onProgress, CallProgress);
  FreeEpubService(service);
  return result;
}

// No book, no staged part of one, and nothing left in the working directory.
void ExpectNoTrace(const std::string& epubDir, const std::string& work) {
  if (!fs::is_symlink(epubDir) && fs::is_directory(epubDir)) {
    EXPECT_TRUE(fs::is_empty(epubDir));
  }
  EXPECT_TRUE(fs::is_empty(work)) << "the caller's clean-up removes the working files";
}

// count lines of 120 letters that compress poorly, so that the book is
// about as large as the text.
std::string NoisyText(int count) {
  std::string text = kave2e::RandomBytes(static_cast<size_t>(count) * 121, 7,
                                         "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ ");
  for (size_t end = 120; end < text.size(); end += 121) text[end] = '\n';
  return text;
}

struct Folders {
  kavtest::TempDir root;
  std::string work = root / "work", out = root / "out", txt = root / "book.txt";
  explicit Folders(int lines = 200) {
    kavtest::MakeDirs(work);
    kavtest::MakeDirs(out);
    kavtest::WriteFile(txt, NoisyText(lines));
  }
  std::string epub() const { return out + "/book.epub"; }
};

TEST(Faults, OutputDirectoryChangingDuringConversionFailsWithoutPartialBook) {
  struct Case {
    const char* name;
    std::function<void(const std::string& out)> change;
  };
  const Case cases[] = {
      {"vanishes", [](const std::string& out) { fs::remove_all(out); }},
      {"becomes a file",
       [](const std::string& out) {
         fs::remove_all(out);
         kavtest::WriteFile(out, "not a directory");
       }},
      // /proc takes no new files, not even from root.
      {"turns unwritable",
       [](const std::string& out) {
         fs::remove_all(out);
         fs::create_directory_symlink("/proc", out);
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Folders f;
    const int result = Convert(false, f.txt, f.epub(), f.work, [&](int done) {
      if (done == 2) c.change(f.out);
    });
    EXPECT_CODE(KAV_EBASE_ERR_OUTPUT, result);
    EXPECT_FALSE(kavtest::Exists(f.epub()));
    ExpectNoTrace(f.out, f.work);
  }
}

// Runs body in a child process and hands back what it returned; -1000 when
// the child died.
int InChild(const std::function<int()>& body) {
  int channel[2];
  if (pipe(channel) != 0) return -1000;
  const pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    const int result = body();
    (void)!write(channel[1], &result, sizeof result);
    _exit(0);
  }
  close(channel[1]);
  int result = -1000;
  if (read(channel[0], &result, sizeof result) != sizeof result) result = -1000;
  close(channel[0]);
  waitpid(child, nullptr, 0);
  return result;
}

TEST(Faults, FileSizeLimitActsAsFullDisk) {
  // With no file allowed past the limit, a small one stops the package
  // document, a larger one only the packed book.
  struct Case {
    rlim_t limit;
    int code;
  };
  for (const Case& c : {Case{4096, KAV_ERR_XML_SAVE}, Case{256 * 1024, KAV_EBASE_ERR_ARCHIVE}}) {
    SCOPED_TRACE(c.limit);
    Folders f(6000);
    const int result = InChild([&] {
      signal(SIGXFSZ, SIG_IGN);
      const rlimit limit{c.limit, c.limit};
      setrlimit(RLIMIT_FSIZE, &limit);
      return Convert(false, f.txt, f.epub(), f.work);
    });
    EXPECT_CODE(c.code, result);
    ExpectNoTrace(f.out, f.work);
  }
}

// Mounts a tmpfs of size bytes on dir in this (child) process's own mount
// namespace, entering a user namespace when root's privileges are missing.
bool MountSmallTmpfs(const std::string& dir, size_t size) {
  const std::string options = "size=" + std::to_string(size);
  if (unshare(CLONE_NEWNS) != 0) {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    kavtest::WriteFile("/proc/self/setgroups", "deny");
    kavtest::WriteFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    kavtest::WriteFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
  }
  // The type is ignored here, but must be readable.
  mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr);
  return mount("tmpfs", dir.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

TEST(Faults, FullTmpfsFailsWithoutPartialBook) {
  constexpr int kNoMount = -2000;
  struct Case {
    const char* name;
    bool workOnTmpfs;  // else the book's folder is on it
    int code;
  };
  for (const Case& c : {Case{"book folder full", false, KAV_EBASE_ERR_ARCHIVE},
                        Case{"working directory full", true, KAV_ERR_XML_SAVE}}) {
    SCOPED_TRACE(c.name);
    Folders f(6000);
    const std::string full = c.workOnTmpfs ? f.work : f.out;
    const int result = InChild([&] {
      if (!MountSmallTmpfs(full, 128 * 1024)) return kNoMount;
      const int code = Convert(false, f.txt, f.epub(), f.work);
      // The tmpfs goes with this process: look at it from here.
      return fs::is_empty(f.work) && fs::is_empty(f.out) ? code : -3000;
    });
    if (result == kNoMount) GTEST_SKIP() << "no tmpfs can be mounted here";
    EXPECT_CODE(c.code, result) << "-3000: files were left on the tmpfs";
    ExpectNoTrace(f.out, f.work);
  }
}

TEST(Faults, WorkingDirectoryOnAnotherFileSystemMakesTheBook) {
  char pattern[] = "/dev/shm/kavfaults-XXXXXX";
  struct stat shm, tmp;
  if (stat("/dev/shm", &shm) != 0 || mkdtemp(pattern) == nullptr) GTEST_SKIP() << "no /dev/shm";
  const std::string shmDir = pattern;
  Folders f(130);
  ASSERT_EQ(0, stat(f.root.path().c_str(), &tmp));
  if (shm.st_dev == tmp.st_dev) GTEST_SKIP() << "/dev/shm and /tmp are one file system";
  struct Case {
    std::string work, out;
  };
  for (const Case& c : {Case{shmDir, f.out}, Case{f.work, shmDir}}) {
    SCOPED_TRACE(c.work + " -> " + c.out);
    const std::string epub = c.out + "/book.epub";
    ASSERT_CODE(0, Convert(false, f.txt, epub, c.work));
    EXPECT_EQ(1u, kave2e::ReadBook(epub).count("OEBPS/page-3.html"));
    EXPECT_TRUE(fs::is_empty(c.work));
    fs::remove(epub);
  }
  fs::remove_all(shmDir);
}

TEST(Faults, UnreadableTextPathsFailAsUnopenable) {
  Folders f;
  const std::string fifo = f.root / "fifo", dir = f.root / "dir", locked = f.root / "locked.txt";
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  kavtest::MakeDirs(dir);
  kavtest::WriteFile(locked, "a line\n");
  chmod(locked.c_str(), 0);
  // A device that never ends would be read forever.
  kave2e::Strings paths = {fifo, dir, f.root / "missing.txt", "/dev/zero",
                           // Readable to open, but every read fails.
                           "/proc/self/mem"};
  // Permissions stop everyone but root.
  if (geteuid() != 0) paths.push_back(locked);
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    EXPECT_CODE(KAV_ERR_OPEN, Convert(false, path, f.epub(), f.work));
    ExpectNoTrace(f.out, f.work);
  }
}

TEST(Faults, MobiFileChangingAfterItIsReadStillConverts) {
  const std::string source = "../shared/fixtures/mobi/lantern_mobi6.mobi";
  if (!kavtest::Exists(source)) GTEST_SKIP() << "no MOBI fixture";
  const std::string original = kavtest::ReadFile(source);
  Folders f;
  const std::string mobi = f.root / "book.mobi";
  kavtest::WriteFile(mobi, original);
  // The reader has the whole book once opened: later changes do not reach it.
  ASSERT_CODE(0, Convert(true, mobi, f.epub(), f.work, [&](int done) {
                if (done == 1) kavtest::WriteFile(mobi, original.substr(0, 100));
                if (done == 6) kavtest::WriteFile(mobi, "garbage");
              }));
  EXPECT_FALSE(kave2e::ReadBook(f.epub()).empty());
  EXPECT_TRUE(fs::is_empty(f.work));
}

TEST(Faults, MobiFileRewrittenWhileReadGivesBookOrReaderCode) {
  const std::string source = "../shared/fixtures/mobi/lantern_mobi6.mobi";
  if (!kavtest::Exists(source)) GTEST_SKIP() << "no MOBI fixture";
  const std::string original = kavtest::ReadFile(source);
  Folders f;
  const std::string mobi = f.root / "book.mobi";
  kavtest::WriteFile(mobi, original);
  std::atomic<bool> stop{false};
  // Rewrites the file in place, alternately cut short, scrambled and whole.
  std::thread writer([&] {
    for (unsigned round = 0; !stop; ++round) {
      std::string bytes = original;
      if (round % 3 == 0) bytes.resize(round * 977 % original.size());
      if (round % 3 == 1) bytes.replace(round * 131 % bytes.size(), 64, std::string(64, '\xff'));
      const int fd = open(mobi.c_str(), O_WRONLY | O_TRUNC);
      if (fd >= 0) {
        (void)!write(fd, bytes.data(), bytes.size());
        close(fd);
      }
    }
  });
  int books = 0;
  for (int run = 0; run < 12; ++run) {
    const int result = Convert(true, mobi, f.epub(), f.work);
    if (result == 0) {
      ++books;
      EXPECT_FALSE(kave2e::ReadBook(f.epub()).empty());
      fs::remove(f.epub());
    } else {
      // A rewritten book may also fail in the builder, as any damaged one.
      EXPECT_TRUE((result >= KAV_MOBI_ERR_ARGUMENT && result <= KAV_MOBI_ERR_NO_TEXT) ||
                  (result >= 400 && result < 500))
          << result;
    }
    ExpectNoTrace(f.out, f.work);
  }
  stop = true;
  writer.join();
  RecordProperty("books", books);
}

}  // namespace
