#include <unistd.h>

#include <string>

#include "fileutil/file_util.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

using kavtest::ReadFile;
using kavtest::WriteFile;

// Bytes of every value, zeros included, so that a text-mode or
// string-terminated copy would show.
std::string Bytes(size_t size) {
  std::string data(size, '\0');
  for (size_t i = 0; i < size; ++i) data[i] = static_cast<char>((i * 7919) >> 3);
  return data;
}

TEST(CopyFile, CopiesEveryChunkBoundaryExactly) {
  kavtest::TempDir tmp;
  for (size_t size : {0, 1, 4095, 4096, 4097, 3 * 4096 + 5}) {
    const std::string src = tmp / ("in" + std::to_string(size)), dst = src + ".copy";
    WriteFile(src, Bytes(size));
    WriteFile(dst, Bytes(size + 9000));  // an existing target is truncated first
    ASSERT_CODE(KAV_OK, CopyFile(src.c_str(), dst.c_str())) << size;
    EXPECT_EQ(Bytes(size), ReadFile(dst)) << size;
  }
}

TEST(CopyFile, IntoDirectoryKeepsNameElseWritesTheNamedFile) {
  kavtest::TempDir tmp;
  kavtest::MakeDirs(tmp / "d");
  WriteFile(tmp / "p.png", "picture");
  ASSERT_CODE(KAV_OK, CopyFile((tmp / "p.png").c_str(), (tmp / "d").c_str()));
  ASSERT_CODE(KAV_OK, CopyFile((tmp / "p.png").c_str(), (tmp / "d/q.png").c_str()));
  EXPECT_EQ("picture", ReadFile(tmp / "d/p.png"));
  EXPECT_EQ("picture", ReadFile(tmp / "d/q.png"));
  EXPECT_EQ((std::vector<std::string>{"d/p.png", "d/q.png", "p.png"}),
            kavtest::ListFiles(tmp.path()));
}

TEST(CopyFile, RefusesBadArgumentsMissingDirectoriesAndUnwritableTargets) {
  kavtest::TempDir tmp;
  const std::string file = tmp / "f.txt", dir = tmp / "dir";
  WriteFile(file, "x");
  kavtest::MakeDirs(dir + "/f.txt");  // dir/f.txt cannot be opened as a file
  struct Row {
    std::string src, dst;
    int code;
  } rows[] = {
      {"", dir, KAV_ERR_MISSING},
      {file, "", KAV_ERR_MISSING},
      {tmp / "missing", dir, KAV_ERR_MISSING},
      {dir, tmp / "copy", KAV_ERR_MISSING},
      {file, tmp / "nodir/q.png", KAV_ERR_NO_OUTPUT_DIR},
      {file, dir, KAV_ERR_OPEN},
  };
  for (const Row& row : rows) {
    EXPECT_CODE(row.code, CopyFile(row.src.c_str(), row.dst.c_str())) << row.src << " " << row.dst;
  }
  EXPECT_CODE(KAV_ERR_MISSING, CopyFile(nullptr, dir.c_str()));
  EXPECT_CODE(KAV_ERR_MISSING, CopyFile(file.c_str(), nullptr));
  EXPECT_FALSE(kavtest::Exists(tmp / "nodir"));
  EXPECT_FALSE(kavtest::Exists(tmp / "copy"));
}

TEST(CopyFile, SourceThatCannotBeReadEndsTheCopy) {
  // Reading this process's memory from address 0 fails at once; a copy loop
  // waiting for the end of the source would never return.
  kavtest::TempDir tmp;
  alarm(20);
  EXPECT_CODE(KAV_OK, CopyFile("/proc/self/mem", (tmp / "mem").c_str()));
  alarm(0);
  EXPECT_EQ("", ReadFile(tmp / "mem"));
}

TEST(CreateFile, LeavesTheFileSystemAlone) {
  kavtest::TempDir tmp;
  WriteFile(tmp / "kept", "content");
  for (const char* name : {"kept", "new"}) CreateFile((tmp / name).c_str());
  EXPECT_EQ("content", ReadFile(tmp / "kept"));
  EXPECT_EQ(std::vector<std::string>{"kept"}, kavtest::ListFiles(tmp.path()));
}

}  // namespace
