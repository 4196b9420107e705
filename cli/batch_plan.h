#ifndef KAV_EPUB_CLI_BATCH_PLAN_H_
#define KAV_EPUB_CLI_BATCH_PLAN_H_

#include <time.h>

#include <string>
#include <vector>

#include "cli/result_messages.h"

namespace kavcli {

// One book of a batch.
struct BatchItem {
  std::string input;    // path below the input directory
  std::string command;  // the kav-epub command that converts it: txt, mobi or html
  std::string output;   // path of the book below the output directory
  // When the input last changed; for an HTML page, the newest of the pages
  // that it reaches through links, since they all go into its book.
  timespec changed = {};
};

// Whether a is later than b.
bool Later(const timespec& a, const timespec& b);

// Every book below inputDir, in byte order of the input paths. Hidden files
// and directories (names starting with ".") and links to directories are
// passed over. Of the HTML pages, only top pages make books: pages that no
// other page links to, and, for pages that only link to each other in a
// ring, its index.html (or index.htm) or else the first of the ring.
bool PlanBatch(const std::string& inputDir, std::vector<BatchItem>* items, ToolError* error);

// Whether the book of this input belongs to slice k (1-based) of n.
bool InShard(const std::string& input, int k, int n);
// Reads "K/N"; false unless 1 <= K <= N.
bool ParseShard(const std::string& text, int* k, int* n);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_BATCH_PLAN_H_
