// A gigabyte of text, more than 100,000 pages, converts in memory that does
// not follow the text's size. Minutes of work: ctest label "limits".

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "support/test_support.h"

namespace {

namespace fs = std::filesystem;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// Writes lines lines of lineBytes bytes each (the line feed included),
// without holding the text.
void WriteText(const std::string& path, size_t lines, size_t lineBytes) {
  std::string block;
  for (unsigned seed = 0; block.size() < (1u << 20); ++seed) {
    block += kave2e::RandomBytes(lineBytes - 1, seed, "abcdefghij klmnopqrst uvwxyz") + "\n";
  }
  const size_t blockLines = block.size() / lineBytes;
  FILE* file = fopen(path.c_str(), "wb");
  ASSERT_NE(nullptr, file);
  for (size_t left = lines; left > 0;) {
    const size_t now = std::min(left, blockLines);
    ASSERT_EQ(now * lineBytes, fwrite(block.data(), 1, now * lineBytes, file));
    left -= now;
  }
  fclose(file);
}

struct ChildRun {
  int code = -1;
  long peakKb = 0;
  double seconds = 0;
};

// Txt2Epub in a child process, so that its peak memory is its own.
ChildRun ConvertInChild(const std::string& txt, const std::string& epub, const std::string& work) {
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    TEpubService* service = CreateEpubService();
    const int code =
        service->Txt2Epub(txt.c_str(), epub.c_str(), work.c_str(), "", "", nullptr, nullptr);
    FreeEpubService(service);
    _exit(code == 0 ? 0 : 1);
  }
  ChildRun run;
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) == child && WIFEXITED(status)) {
    run.code = WEXITSTATUS(status);
  }
  run.peakKb = usage.ru_maxrss;
  run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return run;
}

// One archive entry read through libzip, the rest of the book left packed.
std::string ReadEntry(const std::string& epub, const char* name, zip_int64_t* entries) {
  int error = 0;
  zip_t* archive = zip_open(epub.c_str(), ZIP_RDONLY, &error);
  if (archive == nullptr) return "";
  *entries = zip_get_num_entries(archive, 0);
  std::string data;
  if (zip_file_t* file = zip_fopen(archive, name, 0)) {
    char buffer[1 << 16];
    zip_int64_t got;
    while ((got = zip_fread(file, buffer, sizeof buffer)) > 0) data.append(buffer, got);
    zip_fclose(file);
  }
  zip_close(archive);
  return data;
}

size_t Count(const std::string& text, const std::string& what) {
  size_t count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
  return count;
}

TEST(Limits, GigabyteTextOfOverHundredThousandPagesConvertsInBoundedMemory) {
  if (kSanitized) GTEST_SKIP() << "far too slow under the sanitizers";
  const char* preload = getenv("LD_PRELOAD");
  if (preload != nullptr && strstr(preload, "vgpreload") != nullptr) {
    GTEST_SKIP() << "far too slow under valgrind";
  }
  // Memory, not disk: the text alone is a gigabyte.
  char pattern[] = "/dev/shm/kavlimits-XXXXXX";
  kavtest::TempDir fallback;
  const std::string root = mkdtemp(pattern) != nullptr ? pattern : fallback.path();
  const std::string work = root + "/work", small = root + "/small.txt", large = root + "/large.txt";
  fs::create_directories(work);

  // Over 100,000 pages of 60 lines: once as a gigabyte of lines of 150
  // bytes, once as 14 MB of lines of 2 bytes.
  constexpr size_t kLines = 6990000, kPages = (kLines + 59) / 60;
  WriteText(small, kLines, 2);
  WriteText(large, kLines, 150);
  const ChildRun smallRun = ConvertInChild(small, root + "/small.epub", work);
  const ChildRun largeRun = ConvertInChild(large, root + "/large.epub", work);
  const size_t largeBytes = fs::file_size(large);
  fs::remove(small);
  fs::remove(large);
  RecordProperty("small_peak_kb", smallRun.peakKb);
  RecordProperty("large_peak_kb", largeRun.peakKb);
  RecordProperty("small_seconds", static_cast<int>(smallRun.seconds));
  RecordProperty("large_seconds", static_cast<int>(largeRun.seconds));
  ASSERT_EQ(0, smallRun.code);
  ASSERT_EQ(0, largeRun.code);

  zip_int64_t entries = 0;
  const std::string opf = ReadEntry(root + "/large.epub", "OEBPS/content.opf", &entries);
  EXPECT_EQ(kPages, Count(opf, "<itemref "));
  EXPECT_EQ(kPages,
            Count(ReadEntry(root + "/large.epub", "OEBPS/toc.ncx", &entries), "<navPoint "));
  EXPECT_LT(static_cast<zip_int64_t>(kPages), entries);
  EXPECT_TRUE(fs::is_empty(work));

  // The text is streamed. What grows is the package and navigation
  // documents, which hold every page until the book is packed: the same for
  // both texts, whose sizes differ seventy-five times.
  EXPECT_LT(largeRun.peakKb, smallRun.peakKb + smallRun.peakKb / 4) << "small: " << smallRun.peakKb;
  EXPECT_LT(static_cast<size_t>(largeRun.peakKb), (largeBytes >> 10) / 2);
  if (root != fallback.path()) fs::remove_all(root);
}

}  // namespace
