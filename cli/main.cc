// kav-epub: makes EPUB books from text, HTML and MOBI files.

#include <malloc.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cli/book_kind.h"
#include "cli/commands.h"
#include "cli/interrupts.h"
#include "cli/options.h"
#include "cli/result_messages.h"
#include "service/kav_epub.h"

namespace {

// Blocks below this size come from the heap instead of their own mapping.
constexpr int kHeapBlockLimit = 4 << 20;
// Free memory at the top of the heap up to this size is kept, not returned.
constexpr int kKeptFreeHeap = 64 << 20;

using kavcli::OptionDef;

// The one place where the commands and their options are declared: the
// parser reads them, and --help shows them.
struct Command {
  const char* name;
  int (*run)(const kavcli::Options&);
  const char* arguments;
  const char* about;
  std::vector<OptionDef> options;
};

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"txt",
       kavcli::RunTxt,
       "INPUT.txt OUTPUT.epub",
       "a plain-text file; heading lines (Chapter 12, Part One,\n"
       "第一章 ...) start chapters listed in the table of contents;\n"
       "the title is the file's name and the language is guessed\n"
       "from the script unless given; its encoding (UTF-8, UTF-16,\n"
       "GB18030, Big5, Shift_JIS, Windows-1252, ...) is detected\n"
       "unless --encoding names it",
       {{"title", '\0', "T", "the book's title (default: the file's name)"},
        {"author", '\0', "A", "the book's author"},
        {"language", '\0', "L", "the book's language, a BCP 47 tag such as fr or zh-Hant"},
        {"cover", '\0', "IMAGE", "a .jpeg, .jpg, .png or .gif picture as the cover"},
        {"chapters", '\0', "PATTERN", "a PCRE2 pattern that heading lines match"},
        {"no-chapters", '\0', nullptr, "no chapters: pages of sixty lines"},
        {"encoding", '\0', "E", "the text's encoding, any name iconv --list shows"},
        {"no-accessibility", '\0', nullptr, "no accessibility metadata, page languages or titles"}}},
      {"html",
       kavcli::RunHtml,
       "INDEX.html [MORE.html ...] OUTPUT.epub",
       "HTML pages with the pages, pictures and style sheets\n"
       "they link to, each read in the encoding it declares\n"
       "(or detected) unless --encoding names one for all",
       {{"title", '\0', "T", "the book's title (default: the top page's <title>)"},
        {"author", '\0', "A", "the book's author"},
        {"cover", '\0', "IMAGE", "a .jpeg, .jpg, .png or .gif picture as the cover"},
        {"encoding", '\0', "E", "read every page in this encoding, any name iconv --list shows"},
        {"no-accessibility", '\0', nullptr, "no accessibility metadata, page languages or titles"}}},
      {"mobi",
       kavcli::RunMobi,
       "INPUT.mobi OUTPUT.epub",
       "a MOBI 6, KF8 (AZW3) or joint MOBI book, or a PalmDOC\n"
       "book, in pages of at most 256 KB with the book's own\n"
       "table of contents (else one from its headings or page\n"
       "breaks)",
       {{"single-page", '\0', nullptr, "the text as one page, listed once (the book Mobi2Epub makes)"},
        {"no-accessibility", '\0', nullptr, "no accessibility metadata, page languages or titles"}}},
      {"batch",
       kavcli::RunBatch,
       "INPUT_DIR OUTPUT_DIR",
       "every .txt, .mobi, .azw3 and top .html/.htm page below\n"
       "INPUT_DIR, and every .azw, .prc and .pdb file that is a\n"
       "MOBI or PalmDOC book, each into the same place below\n"
       "OUTPUT_DIR; books newer than their input are skipped",
       {{"jobs", 'j', "N", "N conversions at a time (default: one per processor)"},
        {"shard", '\0', "K/N", "convert only the K-th of N fixed slices of the books"}}},
  };
  return commands;
}

// Options every command takes.
const std::vector<OptionDef>& CommonOptions() {
  static const std::vector<OptionDef> options = {
      {"output", 'o', "FILE", "the book to write (the last argument otherwise)"},
      {"quiet", 'q', nullptr, "no progress bar (it is drawn only on a terminal anyway)"},
      {"help", 'h', nullptr, "the command's usage and options"},
  };
  return options;
}

std::vector<OptionDef> OptionsOf(const Command& command) {
  std::vector<OptionDef> options = command.options;
  options.insert(options.end(), CommonOptions().begin(), CommonOptions().end());
  return options;
}

const Command* FindCommand(const std::string& name) {
  for (const Command& command : Commands()) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

void PrintOption(FILE* out, const OptionDef& option) {
  std::string spelling = option.letter != '\0' ? std::string("-") + option.letter + ", " : "";
  spelling += std::string("--") + option.name;
  if (option.value != nullptr) spelling += std::string(" ") + option.value;
  fprintf(out, "  %-20s %s\n", spelling.c_str(), option.help);
}

// The lines of text indented under an entry (as deep as help2man looks for
// an entry's description).
void PrintIndented(FILE* out, const char* text) {
  for (const char* line = text; *line != '\0';) {
    const char* end = strchr(line, '\n');
    const int length =
        end != nullptr ? static_cast<int>(end - line) : static_cast<int>(strlen(line));
    fprintf(out, "%20s%.*s\n", "", length, line);
    line += length + (end != nullptr ? 1 : 0);
  }
}

void PrintCommandHelp(FILE* out, const Command& command) {
  fprintf(out, "Usage: kav-epub %s %s [OPTIONS]\n", command.name, command.arguments);
  PrintIndented(out, command.about);
  fprintf(out, "\nOptions:\n");
  for (const OptionDef& option : OptionsOf(command)) PrintOption(out, option);
}

// In the shape help2man makes a manual page of: usage lines, a description,
// then sections of entries.
void PrintHelp(FILE* out) {
  fprintf(out,
          "Usage: kav-epub BOOK.txt|BOOK.mobi|BOOK.azw3|BOOK.html [OUTPUT.epub] [OPTIONS]\n"
          "  or:  kav-epub COMMAND ARGUMENTS [OPTIONS]\n"
          "Make EPUB 2 books from plain text, HTML pages and MOBI books.\n"
          "\n"
          "Given a book without a command, kav-epub converts it as its kind asks: a MOBI or\n"
          "PalmDOC book by its header (.mobi, .azw3, .azw, .prc, .pdb or any other name),\n"
          "others by their extension (.txt; .html, .htm). The book is written to OUTPUT.epub,\n"
          "or -o FILE, or else beside the input with .epub in place of its extension; never\n"
          "over the input itself.\n"
          "\nCommands:\n");
  for (const Command& command : Commands()) {
    fprintf(out, "  %s %s\n", command.name, command.arguments);
    PrintIndented(out, command.about);
  }
  for (const Command& command : Commands()) {
    if (command.options.empty()) continue;
    fprintf(out, "\nOptions of %s:\n", command.name);
    for (const OptionDef& option : command.options) PrintOption(out, option);
  }
  fprintf(out, "\nOptions of every command:\n");
  for (const OptionDef& option : CommonOptions()) PrintOption(out, option);
  fprintf(out,
          "\nOther options:\n"
          "  --help               this text\n"
          "  --version            the version and notice\n"
          "\nExit status:\n"
          "  0    the book (every book of a batch) was written\n"
          "  1    a conversion failed; a line on standard error names the file and the cause\n"
          "  2    the command line was wrong\n"
          "  130  interrupted by SIGINT (Ctrl-C); 143 by SIGTERM; no book is left half made\n");
}

void PrintVersion() {
  char* notice = GetEpubCopyright();
  printf("kav-epub 1.0.0\n%s\n", notice != nullptr ? notice : "");
  free(notice);
}

// What the short form's input is, by its header or else its extension.
const Command* CommandForInput(const std::string& input) {
  if (kavcli::HasMobiHeader(input)) return FindCommand("mobi");
  const char* name = kavcli::CommandForExtension(input);
  return name != nullptr ? FindCommand(name) : nullptr;
}

int Refuse(kavcli::ToolFailure kind, const std::string& subject) {
  kavcli::ToolError error;
  error.kind = kind;
  error.subject = subject;
  fprintf(stderr, "kav-epub: %s\n", kavcli::ToolMessage(error).c_str());
  return kavcli::kExitFailed;
}

// The short form, "kav-epub BOOK [OUTPUT.epub] [OPTIONS]": the command is
// the one for the first word that is no option. Null with *status set when
// the line says no command.
const Command* ShortForm(int argc, char** argv, int* status) {
  *status = kavcli::kExitUsage;
  std::vector<OptionDef> every = CommonOptions();
  for (const Command& command : Commands()) {
    every.insert(every.end(), command.options.begin(), command.options.end());
  }
  kavcli::Options options;
  std::string error;
  if (!kavcli::ParseOptions(argc, argv, 1, every, &options, &error)) {
    fprintf(stderr, "kav-epub: %s\n\n", error.c_str());
  } else if (options.positional.empty() && options.Has("help")) {
    PrintHelp(stdout);
    *status = kavcli::kExitOk;
    return nullptr;
  } else if (!options.positional.empty()) {
    const std::string& input = options.positional[0];
    struct stat info = {};
    const bool exists = stat(input.c_str(), &info) == 0;
    const Command* command = CommandForInput(input);
    kavcli::ToolFailure refusal = kavcli::ToolFailure::kUnknownKind;
    if (exists && S_ISDIR(info.st_mode)) {
      refusal = kavcli::ToolFailure::kIsDirectory;
    } else if (kavcli::Extension(input) == ".epub") {
      refusal = kavcli::ToolFailure::kAlreadyEpub;
    } else if (command != nullptr) {
      return command;
    } else if (!exists) {
      fprintf(stderr, "kav-epub: unknown command or file '%s'\n\n", input.c_str());
      PrintHelp(stderr);
      return nullptr;
    }
    *status = Refuse(refusal, input);
    return nullptr;
  }
  PrintHelp(stderr);
  return nullptr;
}

// The short form's BOOK [OUTPUT.epub] or BOOK -o OUTPUT as the command's
// INPUT OUTPUT; false (and a message) when it says more.
bool CompleteShortForm(kavcli::Options* options) {
  std::vector<std::string>& words = options->positional;
  const char* problem = nullptr;
  if (words.size() > 2 || (words.size() == 2 && options->Has("output"))) {
    problem = "one book and one output at most";
  } else if (words.size() == 2 && kavcli::Extension(words[1]) != ".epub") {
    problem = "the output's name ends in .epub (any other name goes after -o)";
  }
  if (problem != nullptr) {
    fprintf(stderr, "kav-epub: %s\nusage: kav-epub BOOK [OUTPUT.epub] [-o OUTPUT] [OPTIONS]\n",
            problem);
    return false;
  }
  if (words.size() == 1) {
    words.push_back(options->Has("output") ? options->Get("output", "")
                                           : kavcli::BookName(words[0]));
  }
  return true;
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
  const Command* command = FindCommand(name);
  const bool shortForm = command == nullptr;
  if (shortForm) {
    int status;
    command = ShortForm(argc, argv, &status);
    if (command == nullptr) return status;
  }
  kavcli::Options options;
  std::string error;
  if (!kavcli::ParseOptions(argc, argv, shortForm ? 1 : 2, OptionsOf(*command), &options, &error)) {
    fprintf(stderr, "kav-epub %s: %s\nusage: kav-epub %s %s [OPTIONS] (--help lists them)\n",
            command->name, error.c_str(), command->name, command->arguments);
    return kavcli::kExitUsage;
  }
  if (options.Has("help")) {
    PrintCommandHelp(stdout, *command);
    return kavcli::kExitOk;
  }
  if (shortForm) {
    if (!CompleteShortForm(&options)) return kavcli::kExitUsage;
  } else if (options.Has("output")) {
    options.positional.push_back(options.Get("output", ""));
  }
  kavcli::InstallInterruptHandlers();
  return command->run(options);
}
