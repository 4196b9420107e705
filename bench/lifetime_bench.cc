// Long life of one service record: builds and clears 1,000 small books in
// one process and samples the resident set size every 100 books. A host
// that keeps the library loaded for days must see a flat line.
// Usage: lifetime_bench [BOOKS]   (default 1000, a multiple of 100)
// Exit status 0 when the line is flat, 1 when it grows, 2 on a failure.
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "service/kav_epub.h"

namespace {

namespace fs = std::filesystem;

// Growth from the first sample to the last that still counts as flat:
// allocator and libxml2 caches settle within the first hundred books, and
// what is left is noise of a few pages.
constexpr long kFlatBoundBytes = 1 << 20;
constexpr int kSampleEvery = 100;

// A 1x1 PNG, so that every book also copies a picture.
const unsigned char kPixelPng[] = {
    0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48,
    0x44, 0x52, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x06, 0x00, 0x00,
    0x00, 0x1f, 0x15, 0xc4, 0x89, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x44, 0x41, 0x54, 0x78,
    0x9c, 0x63, 0x60, 0x00, 0x02, 0x00, 0x00, 0x05, 0x00, 0x01, 0xe9, 0xfa, 0xdc, 0xd8,
    0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82};

long ResidentBytes() {
  FILE* statm = fopen("/proc/self/statm", "r");
  if (statm == nullptr) return -1;
  long size = 0;
  long resident = -1;
  if (fscanf(statm, "%ld %ld", &size, &resident) != 2) resident = -1;
  fclose(statm);
  return resident < 0 ? -1 : resident * sysconf(_SC_PAGESIZE);
}

// Bytes in heap blocks the allocator counts as in use. Blocks parked in
// glibc's per-thread cache count as in use too, so this creeps by some tens
// of KiB while that cache fills; with GLIBC_TUNABLES=glibc.malloc.tcache_count=0
// it is exactly flat.
long LiveHeapBytes() {
  struct mallinfo2 info = mallinfo2();
  return static_cast<long>(info.uordblks + info.hblkhd);
}

bool WriteBytes(const fs::path& path, const void* data, size_t size) {
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  bool ok = fwrite(data, 1, size, file) == size;
  return fclose(file) == 0 && ok;
}

// One small book through the record: three text pages, the last with a
// picture, and an imported HTML page that links a second page.
int BuildBook(TEpubService* service, const fs::path& dir, int number) {
  TEpubData* data = service->data;
  std::string work = (dir / "work").string();
  std::string title = "Book " + std::to_string(number);
  int rc = service->InitEpub(data, work.c_str(), title.c_str(), "Bench");
  for (int page = 0; page < 3 && rc == 0; ++page) {
    rc = service->StartPage(data);
    for (int line = 0; rc == 0 && line < 60; ++line) {
      std::string text = (line % 6 == 0 ? "    " : "") + std::string("Line ") +
                         std::to_string(line) + " of a page that has a little text on it.\n";
      rc = service->AddTextLineToPage(data, text.c_str());
    }
    if (rc == 0 && page == 2) rc = service->AddImageToPage(data, (dir / "pixel.png").c_str());
    if (rc == 0) rc = service->EndPage(data);
  }
  if (rc == 0) rc = service->AddHtmlToEpub(data, (dir / "index.html").c_str());
  if (rc == 0) rc = service->GenerateEpub(data, (dir / "book.epub").c_str());
  service->ClearUp(data);
  return rc;
}

}  // namespace

int main(int argc, char** argv) {
  int books = argc > 1 ? atoi(argv[1]) : 1000;
  if (books < 2 * kSampleEvery || books % kSampleEvery != 0) {
    fprintf(stderr, "usage: lifetime_bench [BOOKS]  (a multiple of %d, at least %d)\n",
            kSampleEvery, 2 * kSampleEvery);
    return 2;
  }
  std::error_code error;
  fs::path dir = fs::temp_directory_path() / ("kav-lifetime-" + std::to_string(getpid()));
  fs::create_directories(dir / "work", error);
  const char index[] =
      "<html><head><title>Index</title></head><body><h1>Index</h1>"
      "<p>See <a href=\"next.html\">the next page</a> and <img src=\"pixel.png\" alt=\"p\"/>."
      "</p></body></html>";
  const char next[] =
      "<html><body><p>The next page, <a href=\"index.html\">back</a>.</p></body></html>";
  if (error || !WriteBytes(dir / "pixel.png", kPixelPng, sizeof kPixelPng) ||
      !WriteBytes(dir / "index.html", index, sizeof index - 1) ||
      !WriteBytes(dir / "next.html", next, sizeof next - 1)) {
    fprintf(stderr, "lifetime_bench: cannot prepare %s\n", dir.c_str());
    fs::remove_all(dir, error);
    return 2;
  }

  TEpubService* service = CreateEpubService();
  if (service == nullptr) return 2;
  std::vector<long> samples;
  std::vector<long> heap;
  auto start = std::chrono::steady_clock::now();
  int rc = 0;
  for (int book = 1; book <= books && rc == 0; ++book) {
    rc = BuildBook(service, dir, book);
    if (book % kSampleEvery == 0) {
      samples.push_back(ResidentBytes());
      heap.push_back(LiveHeapBytes());
    }
  }
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  FreeEpubService(service);
  fs::remove_all(dir, error);
  if (rc != 0) {
    fprintf(stderr, "lifetime_bench: book %zu failed with code %d\n",
            samples.size() * kSampleEvery + 1, rc);
    return 2;
  }

  printf("lifetime: %d books through one service record, %.1f ms a book\n", books,
         1000 * seconds / books);
  printf("RSS (KiB) every %d books:", kSampleEvery);
  for (long bytes : samples) printf(" %ld", bytes / 1024);
  printf("\n");
  printf("live heap (KiB) every %d books:", kSampleEvery);
  for (long bytes : heap) printf(" %ld", bytes / 1024);
  printf("\n");
  // The first hundred books warm the allocator and libxml2 up; growth is
  // measured from there to the end.
  long growth = samples.back() - samples.front();
  bool flat = growth < kFlatBoundBytes;
  printf("growth from book %d to book %d: %+ld KiB (bound %ld KiB): %s\n", kSampleEvery, books,
         growth / 1024, kFlatBoundBytes / 1024, flat ? "flat" : "GROWING");
  return flat ? 0 : 1;
}
