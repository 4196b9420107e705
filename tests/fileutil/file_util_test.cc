#include "fileutil/file_util.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <tuple>
#include <vector>

#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

using kavtest::Exists, kavtest::ListFiles, kavtest::ReadFile, kavtest::WriteFile;
using Files = std::vector<std::string>;
using Operation = int (*)(const char*, const char*);

// Every byte value, zeros included: a string-terminated copy would show.
std::string Bytes(size_t size) {
  std::string data(size, '\0');
  for (size_t i = 0; i < size; ++i) data[i] = static_cast<char>((i * 7919) >> 3);
  return data;
}

const Files kTreeFiles = {"a.txt", "alias", "sub/b.bin", "sub/deeper/c.txt"};
void MakeTree(const std::string& dir) {
  for (const char* sub : {"/sub/deeper", "/empty"}) kavtest::MakeDirs(dir + sub);
  WriteFile(dir + "/a.txt", "a");
  WriteFile(dir + "/sub/b.bin", std::string("b\0b", 3));
  WriteFile(dir + "/sub/deeper/c.txt", "c");
  symlink("a.txt", (dir + "/alias").c_str());
}

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

// CreateFile leaves the file system alone. Reading /proc/self/mem at address 0
// fails at once: a copy loop waiting for the end would never return.
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
  for (const char* dst : {"d", "d/named"})
    ASSERT_CODE(KAV_OK, CopyFile((tmp / "in1").c_str(), (tmp / dst).c_str())) << dst;
  for (const char* name : {"d/in1", "d/new"}) CreateFile((tmp / name).c_str());
  EXPECT_EQ((Files{"in1", "named"}), ListFiles(tmp / "d"));
  EXPECT_EQ(Bytes(1) + Bytes(1), ReadFile(tmp / "d/in1") + ReadFile(tmp / "d/named"));
  alarm(20);
  EXPECT_CODE(KAV_OK, CopyFile("/proc/self/mem", (tmp / "mem").c_str()));
  alarm(0);
  EXPECT_EQ("", ReadFile(tmp / "mem"));
}

// A source ending in "/" has no name, so its contents land in dst itself.
TEST(Trees, CopiedUnderTheSourceNameWithLinksAsFilesAndMovedIntoAnyDst) {
  kavtest::TempDir tmp;
  MakeTree(tmp / "x/img");
  for (const char* dir : {"y", "z", "existing"}) kavtest::MakeDirs(tmp / dir);
  const std::tuple<Operation, const char*, const char*> steps[] = {{CopyFileOrDir, "x/img", "y"},
                                                                   {CopyFileOrDir, "x/img/", "z"},
                                                                   {MoveDir, "y/img", "existing"},
                                                                   {MoveDir, "z", "made"}};
  for (const auto& [operation, src, dst] : steps)
    ASSERT_CODE(KAV_OK, operation((tmp / src).c_str(), (tmp / dst).c_str())) << src;
  EXPECT_EQ(kTreeFiles, ListFiles(tmp / "x/img"));
  struct stat st;
  EXPECT_TRUE(lstat((tmp / "existing/alias").c_str(), &st) == 0 && S_ISREG(st.st_mode));
  for (const std::string dst : {"existing", "made"}) {
    EXPECT_EQ(kTreeFiles, ListFiles(tmp / dst)) << dst;
    EXPECT_TRUE(kavtest::IsDir(tmp / dst + "/empty")) << dst;
    EXPECT_EQ(std::string("b\0b", 3), ReadFile(tmp / dst + "/sub/b.bin")) << dst;
  }
  EXPECT_FALSE(Exists(tmp / "y/img") || Exists(tmp / "z"));
}

// "-" is a null path. A link to a directory is no file; a file source gives
// CopyFile's result; a missing source is no failure.
TEST(FileOperations, FailuresGiveTheirCodesAndKeepTheSource) {
  kavtest::TempDir tmp;
  MakeTree(tmp / "src");
  for (const char* dir : {"dst", "linked/real", "blocked/file"}) kavtest::MakeDirs(tmp / dir);
  WriteFile(tmp / "file", "x");
  mkfifo((tmp / "fifo").c_str(), 0600);
  symlink("real", (tmp / "linked/dirlink").c_str());
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
  for (const char* absent : {"nodir", "copy", "nowhere", "no", "missing"})
    EXPECT_FALSE(Exists(tmp / absent)) << absent;
  EXPECT_TRUE(Exists(tmp / "dst/file") && kavtest::IsDir(tmp / "fresh"));
  EXPECT_EQ(kTreeFiles, ListFiles(tmp / "src"));
}

}  // namespace
