// Copying files and trees, moving directories and splitting paths.
#include "fileutil/file_util.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

using kavtest::Exists;
using kavtest::ListFiles;
using kavtest::ReadFile;
using kavtest::WriteFile;
using Files = std::vector<std::string>;

// Bytes of every value, zeros included, so that a text-mode or
// string-terminated copy would show.
std::string Bytes(size_t size) {
  std::string data(size, '\0');
  for (size_t i = 0; i < size; ++i) data[i] = static_cast<char>((i * 7919) >> 3);
  return data;
}

// dir/{a.txt, alias -> a.txt, sub/b.bin, sub/deeper/c.txt, empty/}
const Files kTreeFiles = {"a.txt", "alias", "sub/b.bin", "sub/deeper/c.txt"};
void MakeTree(const std::string& dir) {
  kavtest::MakeDirs(dir + "/sub/deeper");
  kavtest::MakeDirs(dir + "/empty");
  WriteFile(dir + "/a.txt", "a");
  WriteFile(dir + "/sub/b.bin", std::string("b\0b", 3));
  WriteFile(dir + "/sub/deeper/c.txt", "c");
  symlink("a.txt", (dir + "/alias").c_str());
}

// Null or empty paths leave both outputs as they were.
TEST(GetFileOrDirFromPath, SplitsAtLastSlashElseLastBackslash) {
  // clang-format off
  const char* const rows[][3] = {
      {"/a/b/c.jpg", "c.jpg", "/a/b"}, {"c.jpg", "c.jpg", ""}, {"/c.jpg", "c.jpg", ""},
      {"/a/b/", "", "/a/b"}, {"a\\b\\c", "c", "a\\b"}, {"x\\y/z", "z", "x\\y"},
      {"", "name", "dir"}, {nullptr, "name", "dir"}};
  // clang-format on
  for (const auto& row : rows) {
    std::string name = "name", dir = "dir";
    GetFileOrDirFromPath(row[0], name, dir);
    EXPECT_EQ(std::string(row[1]) + "|" + row[2], name + "|" + dir) << row[0];
  }
}

// An existing target is truncated first; a copy into a directory keeps the
// source's name; CreateFile leaves the file system alone. Reading this
// process's memory from address 0 fails at once: a copy loop waiting for the
// end of the source would never return.
TEST(CopyFile, CopiesEveryChunkBoundaryExactlyAndStopsAtAnUnreadableSource) {
  kavtest::TempDir tmp;
  for (size_t size : {0, 1, 4095, 4096, 4097, 3 * 4096 + 5}) {
    const std::string src = tmp / ("in" + std::to_string(size)), dst = src + ".copy";
    WriteFile(src, Bytes(size));
    WriteFile(dst, Bytes(size + 9000));
    ASSERT_CODE(KAV_OK, CopyFile(src.c_str(), dst.c_str())) << size;
    EXPECT_EQ(Bytes(size), ReadFile(dst)) << size;
  }
  kavtest::MakeDirs(tmp / "d");
  ASSERT_CODE(KAV_OK, CopyFile((tmp / "in1").c_str(), (tmp / "d").c_str()));
  ASSERT_CODE(KAV_OK, CopyFile((tmp / "in1").c_str(), (tmp / "d/named").c_str()));
  for (const char* name : {"d/in1", "d/new"}) CreateFile((tmp / name).c_str());
  EXPECT_EQ((Files{"in1", "named"}), ListFiles(tmp / "d"));
  EXPECT_EQ(Bytes(1) + Bytes(1), ReadFile(tmp / "d/in1") + ReadFile(tmp / "d/named"));
  alarm(20);
  EXPECT_CODE(KAV_OK, CopyFile("/proc/self/mem", (tmp / "mem").c_str()));
  alarm(0);
  EXPECT_EQ("", ReadFile(tmp / "mem"));
}

// Links are copied as the files they point at; a source ending in "/" has
// no name, so its contents land in dst itself. Moves make only the last
// level of dst.
TEST(Trees, CopiedUnderTheSourceNameWithLinksAsFilesAndMovedIntoAnyDst) {
  kavtest::TempDir tmp;
  MakeTree(tmp / "x/img");
  for (const char* dir : {"y", "z", "existing"}) kavtest::MakeDirs(tmp / dir);
  ASSERT_CODE(KAV_OK, CopyFileOrDir((tmp / "x/img").c_str(), (tmp / "y").c_str()));
  ASSERT_CODE(KAV_OK, CopyFileOrDir((tmp / "x/img/").c_str(), (tmp / "z").c_str()));
  EXPECT_EQ(kTreeFiles, ListFiles(tmp / "x/img"));
  struct stat st;
  EXPECT_TRUE(lstat((tmp / "y/img/alias").c_str(), &st) == 0 && S_ISREG(st.st_mode));
  ASSERT_CODE(KAV_OK, MoveDir((tmp / "y/img").c_str(), (tmp / "existing").c_str()));
  ASSERT_CODE(KAV_OK, MoveDir((tmp / "z").c_str(), (tmp / "made").c_str()));
  for (const std::string dst : {"existing", "made"}) {
    EXPECT_EQ(kTreeFiles, ListFiles(tmp / dst)) << dst;
    EXPECT_TRUE(kavtest::IsDir(tmp / dst + "/empty")) << dst;
    EXPECT_EQ(std::string("b\0b", 3), ReadFile(tmp / dst + "/sub/b.bin")) << dst;
  }
  EXPECT_FALSE(Exists(tmp / "y/img") || Exists(tmp / "z"));
}

// One set of paths for every operation, in order ("-" is a null path): a
// link to a directory is no file, a file cannot be written over the
// directory "blocked/file", and below a file no directory can be made. A
// file source gives CopyFile's result; a missing source is no failure.
TEST(FileOperations, FailuresGiveTheirCodesAndKeepTheSource) {
  kavtest::TempDir tmp;
  MakeTree(tmp / "src");
  kavtest::MakeDirs(tmp / "dst");
  WriteFile(tmp / "file", "x");
  mkfifo((tmp / "fifo").c_str(), 0600);
  kavtest::MakeDirs(tmp / "linked/real");
  symlink("real", (tmp / "linked/dirlink").c_str());
  kavtest::MakeDirs(tmp / "blocked/file");
  using Operation = int (*)(const char*, const char*);
  const int kFailed = KAV_ERR_FAILED, kMissing = KAV_ERR_MISSING;
  // clang-format off
  const struct { Operation operation; const char *src, *dst; int code; } rows[] = {
      {CopyFile, "", "dst", kMissing}, {CopyFile, "file", "-", kMissing},
      {CopyFile, "missing", "dst", kMissing}, {CopyFile, "dst", "copy", kMissing},
      {CopyFile, "file", "nodir/q.png", KAV_ERR_NO_OUTPUT_DIR},
      {CopyFile, "file", "blocked", KAV_ERR_OPEN},
      {CopyFileOrDir, "-", "dst", kFailed}, {CopyFileOrDir, "src", "", kFailed},
      {CopyFileOrDir, "src", "nowhere", kFailed}, {CopyFileOrDir, "src", "file", kFailed},
      {CopyFileOrDir, "fifo", "dst", kFailed}, {CopyFileOrDir, "linked", "dst", kFailed},
      {CopyFileOrDir, "file", "blocked", KAV_ERR_OPEN}, {CopyFileOrDir, "file", "dst", KAV_OK},
      {CopyFileOrDir, "missing", "dst", KAV_OK},
      {MoveDir, "-", "file", kFailed}, {MoveDir, "src", "", kFailed},
      {MoveDir, "src", "no/parent", kFailed}, {MoveDir, "file", "d", kFailed},
      {MoveDir, "src", "file", kFailed}, {MoveDir, "missing", "fresh", KAV_OK}};
  // clang-format on
  for (const auto& row : rows) {
    const std::string src = *row.src ? tmp / row.src : "", dst = *row.dst ? tmp / row.dst : "";
    EXPECT_CODE(row.code, row.operation(*row.src == '-' ? nullptr : src.c_str(),
                                        *row.dst == '-' ? nullptr : dst.c_str()))
        << row.src << " " << row.dst;
  }
  for (const char* absent : {"nodir", "copy", "nowhere", "no", "missing"}) {
    EXPECT_FALSE(Exists(tmp / absent)) << absent;
  }
  EXPECT_TRUE(Exists(tmp / "dst/file") && kavtest::IsDir(tmp / "fresh"));
  EXPECT_EQ(kTreeFiles, ListFiles(tmp / "src"));
}

}  // namespace
