#include <string>

#include "builder/epub_base.h"
#include "builder/page_extras.h"
#include "fileutil/file_util.h"
#include "platform/ebase/kav_ebase.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

int EpubBase::GenerateEpub(const char* outputPath) {
  if (KavIsStrNullOrEmpty(outputPath) != 0) return KAV_ERR_ARGUMENT;
  // Without a successful Init there are no documents to save.
  if (opfFile == nullptr || ncxFile == nullptr) return KAV_ERR_NO_PAGE;

  const kav_builder::BookAccess access = kav_builder::BookAccessOf(this);
  if (access.accessible) {
    // Written once: the book is not saved again.
    int written = kav_builder::WriteAccessMetadata(opfFile, access);
    if (written != 0) return written;
    kav_builder::ForgetBookAccess(this);
  }

  std::string opfPath = bookDir + "/OEBPS/content.opf";
  CreateFile(opfPath.c_str());
  int r = opfFile->SaveOpfFile(opfPath.c_str());
  if (r != 0) return r;

  std::string ncxPath = bookDir + "/OEBPS/toc.ncx";
  CreateFile(ncxPath.c_str());
  r = ncxFile->SaveNcxFile(ncxPath.c_str());
  if (r != 0) return r;

  return Kav_CreateEpubFromDir(bookDir.c_str(), outputPath);
}
