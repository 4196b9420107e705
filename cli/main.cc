// kav-epub: makes EPUB books from text, HTML and MOBI files.

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/options.h"
#include "cli/progress_bar.h"
#include "service/kav_epub.h"

namespace {

// Blocks below this size come from the heap instead of their own mapping.
constexpr int kHeapBlockLimit = 4 << 20;
// Free memory at the top of the heap up to this size is kept, not returned.
constexpr int kKeptFreeHeap = 64 << 20;

struct Command {
  const char* name;
  int (*run)(const kavcli::Options&);
  std::vector<std::string> valueOptions;
  const char* usage;
};

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"txt",
       kavcli::RunTxt,
       {"title", "author", "encoding", "language", "cover", "chapters", "!no-chapters"},
       "txt INPUT.txt OUTPUT.epub [--title T] [--author A] [--language L] [--cover IMAGE]\n"
       "      [--chapters PATTERN | --no-chapters] [--encoding E]\n"
       "      a plain-text file; heading lines (Chapter 12, Part One, 第一章 ...) start\n"
       "      chapters listed in the table of contents (--chapters: a PCRE2 pattern of\n"
       "      your own; --no-chapters: pages of sixty lines); the title is the file's name\n"
       "      and the language is guessed from the script unless given; its encoding\n"
       "      (UTF-8, UTF-16, GB18030, Big5, Shift_JIS, ...) is detected unless named"},
      {"html",
       kavcli::RunHtml,
       {"title", "author", "cover", "encoding"},
       "html INDEX.html [MORE.html ...] OUTPUT.epub [--title T] [--author A] [--cover IMAGE]\n"
       "      [--encoding E]\n"
       "      HTML pages with the pages, pictures and style sheets they link to, each read\n"
       "      in the encoding it declares (or detected) unless --encoding names one for all"},
      {"mobi",
       kavcli::RunMobi,
       {},
       "mobi INPUT.mobi OUTPUT.epub\n"
       "      a MOBI 6, KF8 (AZW3) or joint MOBI book"},
      {"batch",
       kavcli::RunBatch,
       {"jobs", "shard"},
       "batch INPUT_DIR OUTPUT_DIR [-j N] [--shard K/N]\n"
       "      every .txt, .mobi, .azw3 and top .html/.htm page below INPUT_DIR, each into\n"
       "      the same place below OUTPUT_DIR, N at a time; books newer than their input\n"
       "      are skipped; --shard K/N converts only the K-th of N fixed slices"},
  };
  return commands;
}

void PrintHelp(FILE* out) {
  fprintf(out, "usage: kav-epub COMMAND ARGUMENTS [--quiet]\n\ncommands:\n");
  for (const Command& command : Commands()) fprintf(out, "  %s\n", command.usage);
  fprintf(out,
          "\n  --quiet, -q   no progress bar (it is drawn only on a terminal anyway)\n"
          "  --help        this text\n"
          "  --version     the version and notice\n"
          "\nExit status: 0 when the book (every book of a batch) was written, 1 when a\n"
          "conversion failed, 2 for a wrong command line, 130 when interrupted.\n");
}

void PrintVersion() {
  char* notice = GetEpubCopyright();
  printf("kav-epub 1.0.0\n%s\n", notice != nullptr ? notice : "");
  free(notice);
}

}  // namespace

int main(int argc, char** argv) {
  // A conversion frees memory in large blocks and soon asks for it again:
  // each page's document once the page is saved, and the compressor state of
  // the packer (some 400 KB, partly in blocks at glibc's mmap threshold)
  // after every file it packs. By default glibc hands such memory back to the
  // system at once, and the next page or file faults it in afresh, which
  // costs more than packing a small page. Keep it in the heap instead.
  mallopt(M_MMAP_THRESHOLD, kHeapBlockLimit);
  mallopt(M_TRIM_THRESHOLD, kKeptFreeHeap);
  if (argc < 2) {
    PrintHelp(stderr);
    return kavcli::kExitUsage;
  }
  const char* name = argv[1];
  if (strcmp(name, "--help") == 0 || strcmp(name, "-h") == 0 || strcmp(name, "help") == 0) {
    PrintHelp(stdout);
    return kavcli::kExitOk;
  }
  if (strcmp(name, "--version") == 0) {
    PrintVersion();
    return kavcli::kExitOk;
  }
  for (const Command& command : Commands()) {
    if (strcmp(name, command.name) != 0) continue;
    for (int i = 2; i < argc; ++i) {
      if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0) {
        printf("usage: kav-epub %s\n", command.usage);
        return kavcli::kExitOk;
      }
    }
    kavcli::Options options;
    std::string error;
    if (!kavcli::ParseOptions(argc, argv, 2, command.valueOptions, &options, &error)) {
      fprintf(stderr, "kav-epub %s: %s\nusage: kav-epub %s\n", name, error.c_str(), command.usage);
      return kavcli::kExitUsage;
    }
    kavcli::InstallInterruptHandlers();
    return command.run(options);
  }
  fprintf(stderr, "kav-epub: unknown command '%s'\n\n", name);
  PrintHelp(stderr);
  return kavcli::kExitUsage;
}
