#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "fileutil/file_util.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

using kavtest::ListFiles;
using Files = std::vector<std::string>;

// dir/{a.txt, alias -> a.txt, sub/b.bin, sub/deeper/c.txt, empty/}
void MakeTree(const std::string& dir) {
  kavtest::MakeDirs(dir + "/sub/deeper");
  kavtest::MakeDirs(dir + "/empty");
  kavtest::WriteFile(dir + "/a.txt", "a");
  kavtest::WriteFile(dir + "/sub/b.bin", std::string("b\0b", 3));
  kavtest::WriteFile(dir + "/sub/deeper/c.txt", "c");
  symlink("a.txt", (dir + "/alias").c_str());
}

const Files kTreeFiles = {"a.txt", "alias", "sub/b.bin", "sub/deeper/c.txt"};

TEST(CopyFileOrDir, CopiesTreeUnderSourceNameAndLinksAsFiles) {
  kavtest::TempDir tmp;
  MakeTree(tmp / "x/img");
  kavtest::MakeDirs(tmp / "y");
  kavtest::MakeDirs(tmp / "z");
  ASSERT_CODE(KAV_OK, CopyFileOrDir((tmp / "x/img").c_str(), (tmp / "y").c_str()));
  EXPECT_EQ(kTreeFiles, ListFiles(tmp / "y/img"));
  EXPECT_EQ(std::string("b\0b", 3), kavtest::ReadFile(tmp / "y/img/sub/b.bin"));
  EXPECT_TRUE(kavtest::IsDir(tmp / "y/img/empty"));
  struct stat st;
  ASSERT_EQ(0, lstat((tmp / "y/img/alias").c_str(), &st));
  EXPECT_TRUE(S_ISREG(st.st_mode));
  EXPECT_EQ(kTreeFiles, ListFiles(tmp / "x/img"));

  // A source ending in "/" has no name: its contents land in dst itself.
  ASSERT_CODE(KAV_OK, CopyFileOrDir((tmp / "x/img/").c_str(), (tmp / "z").c_str()));
  EXPECT_EQ(kTreeFiles, ListFiles(tmp / "z"));
}

TEST(CopyFileOrDir, FailuresFileSourcesAndMissingSource) {
  kavtest::TempDir tmp;
  const std::string src = tmp / "src", dst = tmp / "dst", file = tmp / "file";
  MakeTree(src);
  kavtest::MakeDirs(dst);
  kavtest::WriteFile(file, "");
  mkfifo((tmp / "fifo").c_str(), 0600);
  kavtest::MakeDirs(tmp / "linked/real");
  symlink("real", (tmp / "linked/dirlink").c_str());  // a link to a directory is no file
  kavtest::MakeDirs(tmp / "blocked/file");            // a file cannot be written over it
  struct Row {
    std::string src, dst;
    int code;
  } rows[] = {
      {"", dst, KAV_ERR_FAILED},
      {src, "", KAV_ERR_FAILED},
      {src, tmp / "nowhere", KAV_ERR_FAILED},
      {src, file, KAV_ERR_FAILED},
      {tmp / "fifo", dst, KAV_ERR_FAILED},
      {tmp / "linked", dst, KAV_ERR_FAILED},
      {file, tmp / "blocked", KAV_ERR_OPEN},  // a file source gives CopyFile's result
      {file, dst, KAV_OK},
      {tmp / "missing", dst, KAV_OK},
  };
  for (const Row& row : rows) {
    EXPECT_CODE(row.code, CopyFileOrDir(row.src.c_str(), row.dst.c_str())) << row.src;
  }
  EXPECT_CODE(KAV_ERR_FAILED, CopyFileOrDir(nullptr, dst.c_str()));
  EXPECT_CODE(KAV_ERR_FAILED, CopyFileOrDir(src.c_str(), nullptr));
  EXPECT_FALSE(kavtest::Exists(tmp / "nowhere"));
  EXPECT_TRUE(kavtest::Exists(dst + "/file"));
}

TEST(MoveDir, MovesContentsIntoDstAndRemovesSource) {
  kavtest::TempDir tmp;
  MakeTree(tmp / "one");
  MakeTree(tmp / "two");
  kavtest::MakeDirs(tmp / "existing");
  ASSERT_CODE(KAV_OK, MoveDir((tmp / "one").c_str(), (tmp / "existing").c_str()));
  ASSERT_CODE(KAV_OK, MoveDir((tmp / "two").c_str(), (tmp / "made").c_str()));
  for (const char* dst : {"existing", "made"}) {
    EXPECT_EQ(kTreeFiles, ListFiles(tmp / dst)) << dst;
    EXPECT_TRUE(kavtest::IsDir(tmp / dst + "/empty")) << dst;
  }
  EXPECT_EQ("c", kavtest::ReadFile(tmp / "made/sub/deeper/c.txt"));
  EXPECT_FALSE(kavtest::Exists(tmp / "one"));
  EXPECT_FALSE(kavtest::Exists(tmp / "two"));
}

TEST(MoveDir, FailuresKeepSourceAndMissingSourceIsNoFailure) {
  kavtest::TempDir tmp;
  const std::string src = tmp / "src", file = tmp / "file";
  MakeTree(src);
  kavtest::WriteFile(file, "");
  EXPECT_CODE(KAV_ERR_FAILED, MoveDir(nullptr, file.c_str()));
  EXPECT_CODE(KAV_ERR_FAILED, MoveDir(src.c_str(), ""));
  EXPECT_CODE(KAV_ERR_FAILED, MoveDir(src.c_str(), (tmp / "no/parent").c_str()));
  EXPECT_CODE(KAV_ERR_FAILED, MoveDir(file.c_str(), (tmp / "d").c_str()));
  // Below a file no directory can be made, so sub/deeper has nowhere to go.
  EXPECT_CODE(KAV_ERR_FAILED, MoveDir(src.c_str(), file.c_str()));
  EXPECT_EQ(kTreeFiles, ListFiles(src));
  EXPECT_FALSE(kavtest::Exists(tmp / "no"));

  EXPECT_CODE(KAV_OK, MoveDir((tmp / "missing").c_str(), (tmp / "fresh").c_str()));
  EXPECT_TRUE(kavtest::IsDir(tmp / "fresh"));
  EXPECT_FALSE(kavtest::Exists(tmp / "missing"));
}

}  // namespace
