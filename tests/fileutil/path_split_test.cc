#include <string>

#include "fileutil/file_util.h"
#include "support/test_support.h"

namespace {

TEST(GetFileOrDirFromPath, SplitsAtLastSlashElseLastBackslash) {
  struct Row {
    const char* path;
    const char* name;
    const char* dir;
  };
  const Row rows[] = {
      {"/a/b/c.jpg", "c.jpg", "/a/b"},
      {"c.jpg", "c.jpg", ""},
      {"/c.jpg", "c.jpg", ""},
      {"/a/b/", "", "/a/b"},
      {"a\\b\\c", "c", "a\\b"},
      {"x\\y/z", "z", "x\\y"},
      {"/a/", "", "/a"},
  };
  for (const Row& row : rows) {
    std::string name = "old name", dir = "old dir";
    GetFileOrDirFromPath(row.path, name, dir);
    EXPECT_EQ(row.name, name) << row.path;
    EXPECT_EQ(row.dir, dir) << row.path;
  }
}

TEST(GetFileOrDirFromPath, NullOrEmptyLeavesOutputsUnchanged) {
  for (const char* path : {static_cast<const char*>(nullptr), ""}) {
    std::string name = "keep", dir = "also";
    GetFileOrDirFromPath(path, name, dir);
    EXPECT_EQ("keep", name);
    EXPECT_EQ("also", dir);
  }
}

}  // namespace
