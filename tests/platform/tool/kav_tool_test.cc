#include "platform/tool/kav_tool.h"

#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <tuple>

#include "support/test_support.h"

namespace {

std::string Take(char* text) {
  std::string copy = text == nullptr ? "(null)" : text;
  free(text);
  return copy;
}

std::string LocalStamp(time_t at) {
  char text[16];
  struct tm fields;
  strftime(text, sizeof(text), "%Y%m%d%H%M%S", localtime_r(&at, &fields));
  return text;
}

// Links count as existing even when dangling; only what resolves to a regular file is a file.
TEST(KavTool, NullOrEmptyAndExistenceQueries) {
  kavtest::TempDir tmp;
  kavtest::WriteFile(tmp / "file", "x");
  symlink("file", (tmp / "filelink").c_str());
  symlink(tmp.path().c_str(), (tmp / "dirlink").c_str());
  symlink("gone", (tmp / "dangling").c_str());
  const std::tuple<const char*, bool, bool> rows[] = {{"file", 1, 1},    {".", 1, 0},
                                                      {"missing", 0, 0}, {"filelink", 1, 1},
                                                      {"dirlink", 1, 0}, {"dangling", 1, 0}};
  for (const auto& [name, exists, isFile] : rows) {
    EXPECT_EQ(exists, !!KavIsFileOrDirExists((tmp / name).c_str())) << name;
    EXPECT_EQ(isFile, !!KavIsFileExists((tmp / name).c_str())) << name;
  }
  EXPECT_FALSE(KavIsFileOrDirExists(nullptr) || KavIsFileOrDirExists("") ||
               KavIsFileExists(nullptr) || KavIsFileExists(""));
  EXPECT_TRUE(KavIsStrNullOrEmpty(nullptr) && KavIsStrNullOrEmpty("") && !KavIsStrNullOrEmpty(" "));
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
  EXPECT_TRUE(KavDeleteDir(tree.c_str()) == 0 && KavDeleteDir((tmp / "top_link/").c_str()) == 0);
  EXPECT_FALSE(kavtest::Exists(tree) || kavtest::Exists(tmp / "top_link"));
  EXPECT_EQ("kept", kavtest::ReadFile(outside + "/inner/kept.txt"));
  EXPECT_TRUE(KavDeleteDir(tree.c_str()) != 0 && KavDeleteDir(nullptr) != 0);
}

// SOURCE_DATE_EPOCH is read in UTC (nine hours east a local reading would
// differ). The stamp needs its terminating zero within the size.
TEST(KavTool, TimeStampsComeFromSourceDateEpochInUtcElseTheLocalClock) {
  kavtest::ScopedEnv zone("TZ", "UTC-9");
  // Null: the local clock. The last two overflow a time_t and a calendar year.
  // clang-format off
  const char* const rows[][2] = {
      {"1700000000", "20231114221320"}, {"0", "19700101000000"},
      {"000000001700000000", "20231114221320"}, {nullptr, nullptr}, {"", nullptr}, {"-1", nullptr},
      {" 1700000000", nullptr}, {"1700000000.5", nullptr}, {"17e8", nullptr},
      {"1234567890123456789", nullptr}, {"999999999999999999", nullptr}};
  // clang-format on
  for (const auto& row : rows) {
    kavtest::ScopedEnv epoch("SOURCE_DATE_EPOCH", row[0]);
    const time_t before = time(nullptr);
    const std::string stamp = Take(KavGetLocalCurrentTime("%Y%m%d%H%M%S", 16));
    const time_t after = time(nullptr);
    EXPECT_TRUE(row[1] != nullptr ? stamp == row[1]
                                  : stamp == LocalStamp(before) || stamp == LocalStamp(after))
        << (row[0] != nullptr ? row[0] : "(unset)") << ": " << stamp;
  }
  EXPECT_EQ(nullptr, KavGetLocalCurrentTime("%Y%m%d%H%M%S", 14));
  EXPECT_EQ(nullptr, KavGetLocalCurrentTime(nullptr, 16));
}

}  // namespace
