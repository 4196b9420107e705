#ifndef KAV_EPUB_TESTS_SUPPORT_TEST_SUPPORT_H_
#define KAV_EPUB_TESTS_SUPPORT_TEST_SUPPORT_H_

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <optional>
#include <string>
#include <vector>

namespace kavtest {

// A fresh directory under /tmp, removed with everything in it at the end.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
bool Exists(const std::string& path);
bool IsDir(const std::string& path);
void MakeDirs(const std::string& path);
// Relative paths of the regular files below dir, sorted.
std::vector<std::string> ListFiles(const std::string& dir);
// The text lines of a file, split at "\n" (the last line may be empty).
std::vector<std::string> Lines(const std::string& text);

// One entry of a ZIP archive, in archive order.
struct ZipEntry {
  std::string name;
  bool stored;  // no compression
  std::string data;
};
// Reads a whole archive; fails the current test when it cannot.
std::vector<ZipEntry> ReadZip(const std::string& path);

// Runs a shell command with no input; its exit status (-1 when it did not
// exit), with standard output and standard error appended to output.
int RunCommand(const std::string& command, std::string* output);

// Runs epubcheck on a book; the finding codes it reported (such as
// "RSC-005") with their severities ("ERROR", "WARNING", "FATAL", ...), and
// the whole report in `report`.
struct EpubcheckFinding {
  std::string severity;
  std::string code;
  std::string message;
};
std::vector<EpubcheckFinding> RunEpubcheck(const std::string& epubPath, std::string* report);

// Sets an environment variable (unsets it for null) for one scope, and
// tells the C library when the time zone changes.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    Set(value);
  }
  ~ScopedEnv() { Set(old_ ? old_->c_str() : nullptr); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  void Set(const char* value) {
    value != nullptr ? setenv(name_.c_str(), value, 1) : unsetenv(name_.c_str());
    tzset();
  }
  std::string name_;
  std::optional<std::string> old_;
};

// Path of a file in the project tree, and of a built program or library.
std::string SourcePath(const std::string& relative);
std::string BuildPath(const std::string& relative);

}  // namespace kavtest

// Result codes read best as numbers with their names in the failure text.
#define EXPECT_CODE(expected, actual) EXPECT_EQ(static_cast<long long>(expected), static_cast<long long>(actual))
#define ASSERT_CODE(expected, actual) ASSERT_EQ(static_cast<long long>(expected), static_cast<long long>(actual))

#endif  // KAV_EPUB_TESTS_SUPPORT_TEST_SUPPORT_H_
