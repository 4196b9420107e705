#include "platform/ebase/kav_ebase.h"

#include <sys/stat.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "platform/ebase/book_archive.h"
#include "platform/ebase/book_tree.h"
#include "platform/ebase/staged_output.h"

namespace {

int PackBook(const std::string& bookDir, const std::string& epubPath) {
  struct stat st;
  if (stat(bookDir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return KAV_EBASE_ERR_BOOK_DIR;
  std::vector<std::string> files;
  if (!kav_ebase::CollectBookFiles(bookDir, &files)) return KAV_EBASE_ERR_BOOK_DIR;
  // The mimetype goes first, ahead of the sorted rest.
  const auto mimetype =
      std::lower_bound(files.begin(), files.end(), std::string(kav_ebase::kMimetypeName));
  if (mimetype == files.end() || *mimetype != kav_ebase::kMimetypeName) {
    return KAV_EBASE_ERR_NO_MIMETYPE;
  }
  files.erase(mimetype);

  kav_ebase::StagedOutput output(epubPath);
  if (!output.Reserve()) return KAV_EBASE_ERR_OUTPUT;
  if (!kav_ebase::WriteBookArchive(bookDir, files, output.temporaryPath())) {
    return KAV_EBASE_ERR_ARCHIVE;
  }
  return output.Commit() ? 0 : KAV_EBASE_ERR_RENAME;
}

}  // namespace

int Kav_CreateEpubFromDir(const char* bookDir, const char* epubPath) {
  if (bookDir == nullptr || *bookDir == '\0' || epubPath == nullptr || *epubPath == '\0') {
    return KAV_EBASE_ERR_ARGUMENT;
  }
  try {
    return PackBook(bookDir, epubPath);
  } catch (const std::bad_alloc&) {
    return KAV_EBASE_ERR_MEMORY;
  } catch (...) {
    // Nothing else is thrown here; still, no exception may cross into C.
    return KAV_EBASE_ERR_ARCHIVE;
  }
}
