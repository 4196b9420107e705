#include "platform/tool/kav_tool.h"

#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "support/test_support.h"

namespace {

// A string the tool library handed out, released with free().
std::string Take(char* text) {
  std::string copy = text == nullptr ? "(null)" : text;
  free(text);
  return copy;
}

// Links count as existing even when dangling; only what resolves to a
// regular file is a file.
TEST(KavTool, NullOrEmptyAndExistenceQueries) {
  kavtest::TempDir tmp;
  kavtest::WriteFile(tmp / "file", "x");
  symlink("file", (tmp / "filelink").c_str());
  symlink(tmp.path().c_str(), (tmp / "dirlink").c_str());
  symlink("gone", (tmp / "dangling").c_str());
  const struct {
    const char* name;
    int exists, isFile;
  } rows[] = {{"file", 1, 1},     {".", 1, 0},       {"missing", 0, 0},
              {"filelink", 1, 1}, {"dirlink", 1, 0}, {"dangling", 1, 0}};
  for (const auto& row : rows) {
    EXPECT_EQ(row.exists, !!KavIsFileOrDirExists((tmp / row.name).c_str())) << row.name;
    EXPECT_EQ(row.isFile, !!KavIsFileExists((tmp / row.name).c_str())) << row.name;
  }
  EXPECT_FALSE(KavIsFileOrDirExists(nullptr) || KavIsFileOrDirExists(""));
  EXPECT_FALSE(KavIsFileExists(nullptr) || KavIsFileExists(""));
  EXPECT_TRUE(KavIsStrNullOrEmpty(nullptr) && KavIsStrNullOrEmpty(""));
  EXPECT_FALSE(KavIsStrNullOrEmpty(" "));
}

TEST(KavTool, GetRunDirectoryNamesTheContainingDirectory) {
  const char* rows[][2] = {{"a/b/c", "a/b"}, {"c", "."},      {"", "."},      {"/x", "/"},
                           {"/", "/"},       {"a/b/", "a/b"}, {"/a/b", "/a"}, {nullptr, "(null)"}};
  for (const auto& row : rows) EXPECT_EQ(row[1], Take(KavGetRunDirectory(row[0]))) << row[0];
}

// Given a link to a directory, even spelt "link/", only the link goes.
TEST(KavTool, DeleteDirRemovesTreeButNeverFollowsLinksOut) {
  kavtest::TempDir tmp;
  const std::string outside = tmp / "outside", tree = tmp / "tree";
  kavtest::MakeDirs(outside + "/inner");
  kavtest::WriteFile(outside + "/inner/kept.txt", "kept");
  kavtest::MakeDirs(tree + "/a/b");
  kavtest::WriteFile(tree + "/a/b/f", "f");
  symlink(outside.c_str(), (tree + "/a/to_dir").c_str());
  symlink((outside + "/inner/kept.txt").c_str(), (tree + "/to_file").c_str());
  symlink(outside.c_str(), (tmp / "top_link").c_str());
  EXPECT_EQ(0, KavDeleteDir(tree.c_str()));
  EXPECT_EQ(0, KavDeleteDir((tmp / "top_link/").c_str()));
  EXPECT_FALSE(kavtest::Exists(tree) || kavtest::Exists(tmp / "top_link"));
  EXPECT_EQ("kept", kavtest::ReadFile(outside + "/inner/kept.txt"));
  EXPECT_NE(0, KavDeleteDir(tree.c_str()));
  EXPECT_NE(0, KavDeleteDir(nullptr));
}

// The stamp needs its terminating zero within the size.
TEST(KavTool, LocalCurrentTimeFormatsIntoTheGivenSize) {
  const time_t before = time(nullptr);
  const std::string stamp = Take(KavGetLocalCurrentTime("%Y%m%d%H%M%S", 16));
  const time_t after = time(nullptr);
  char low[16], high[16];
  struct tm local;
  strftime(low, sizeof(low), "%Y%m%d%H%M%S", localtime_r(&before, &local));
  strftime(high, sizeof(high), "%Y%m%d%H%M%S", localtime_r(&after, &local));
  EXPECT_TRUE(stamp == low || stamp == high) << stamp;
  EXPECT_EQ(nullptr, KavGetLocalCurrentTime("%Y%m%d%H%M%S", 14));
  EXPECT_EQ(nullptr, KavGetLocalCurrentTime(nullptr, 16));
}

}  // namespace
