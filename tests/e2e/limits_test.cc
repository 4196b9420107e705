// A gigabyte of text, more than 100,000 pages, converts in memory that does
// not follow the text's size. Minutes of work (far too slow under the
// sanitizers or valgrind): ctest label "limits".

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>

#include "e2e/book_checks.h"

namespace {

namespace fs = std::filesystem;

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

// Txt2Epub in a child process, so that its peak memory is its own: that
// peak in KiB, or -1 when the conversion failed.
long PeakKbOfConversion(const std::string& txt, const std::string& epub, const std::string& work) {
  const pid_t child = fork();
  if (child == 0) {
    TEpubService* service = CreateEpubService();
    const int code =
        service->Txt2Epub(txt.c_str(), epub.c_str(), work.c_str(), "", "", nullptr, nullptr);
    FreeEpubService(service);
    _exit(code == 0 ? 0 : 1);
  }
  int status = 0;
  rusage usage{};
  const bool made =
      wait4(child, &status, 0, &usage) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return made ? usage.ru_maxrss : -1;
}

TEST(Limits, GigabyteTextOfOverHundredThousandPagesConvertsInBoundedMemory) {
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
  const long smallKb = PeakKbOfConversion(small, root + "/small.epub", work);
  const long largeKb = PeakKbOfConversion(large, root + "/large.epub", work);
  const size_t largeBytes = fs::file_size(large);
  fs::remove(small);
  fs::remove(large);
  ASSERT_TRUE(smallKb > 0 && largeKb > 0) << "a conversion failed";

  // Every page is in the small book; the large one holds its text, which
  // compresses to no less than half.
  kave2e::Book book = kave2e::ReadBook(root + "/small.epub");
  EXPECT_EQ(kPages, kave2e::XPathTexts(book["OEBPS/content.opf"].data, "//opf:itemref").size());
  EXPECT_EQ(kPages, kave2e::XPathTexts(book["OEBPS/toc.ncx"].data, "//ncx:navPoint").size());
  EXPECT_EQ(1u, book.count("OEBPS/page-" + std::to_string(kPages) + ".html"));
  EXPECT_LT(largeBytes / 2, fs::file_size(root + "/large.epub"));
  EXPECT_TRUE(fs::is_empty(work));

  // The text is streamed. What grows is a few numbers and names per page,
  // kept until the book is packed: the same for both texts, whose sizes
  // differ seventy-five times, and far below the text's size.
  EXPECT_LT(largeKb, smallKb + smallKb / 4) << "small: " << smallKb;
  EXPECT_LT(largeKb, 250L << 10) << "small: " << smallKb;
  if (root != fallback.path()) fs::remove_all(root);
}

}  // namespace
