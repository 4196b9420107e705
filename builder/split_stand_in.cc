// Until the page splitter comes: the whole page imported as one, every id
// it holds mapped to it.

#include <cstdio>
#include <regex>
#include <string>

#include "builder/book_paths.h"
#include "builder/epub_base.h"

int EpubBase::AddSplitHtmlToEpub(const char* htmlPath, const std::vector<std::string>& breakIds,
                                 size_t maxPageBytes, bool listPages,
                                 std::unordered_map<std::string, std::string>* pageOfId) {
  (void)breakIds;
  (void)maxPageBytes;
  const std::string name = kav_builder::PageFileName(pageNum + 1);
  const size_t listed = ncxFile != nullptr ? ncxFile->NcxRecordCount() : 0;
  int r = AddHTHLToEpub(htmlPath);
  if (!listPages && ncxFile != nullptr) ncxFile->DropNcxRecords(listed);
  if (r != 0 || pageOfId == nullptr) return r;
  FILE* file = fopen((bookDir + "/OEBPS/" + name).c_str(), "rb");
  if (file == nullptr) return r;
  std::string page;
  char buffer[65536];
  for (size_t got; (got = fread(buffer, 1, sizeof buffer, file)) > 0;) page.append(buffer, got);
  fclose(file);
  static const std::regex id(" id=\"([^\"]+)\"");
  for (auto match = std::sregex_iterator(page.begin(), page.end(), id);
       match != std::sregex_iterator(); ++match) {
    (*pageOfId)[(*match)[1].str()] = name;
  }
  return r;
}
