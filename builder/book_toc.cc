// The book's own table of contents, for MOBI books made in pages.

#include <string>

#include "builder/book_paths.h"
#include "builder/epub_base.h"
#include "service/kav_result.h"

int EpubBase::AddTocEntry(const char* src, const char* label, int depth) {
  if (ncxFile == nullptr) return KAV_ERR_NO_PAGE;
  return ncxFile->AddNestedRecordToNcx(src, label, depth);
}

std::string EpubBase::NextPageFileName() const { return kav_builder::PageFileName(pageNum + 1); }
