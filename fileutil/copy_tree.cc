#include <dirent.h>
#include <errno.h>

#include <string>

#include "fileutil/dir_entry.h"
#include "fileutil/file_util.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

int CopyFileOrDir(const char* src, const char* dst) {
  // The destination must exist already; it is never created here.
  if (KavIsStrNullOrEmpty(src) || KavIsStrNullOrEmpty(dst) || !KavIsFileOrDirExists(dst)) {
    return KAV_ERR_FAILED;
  }
  if (KavIsFileExists(src)) return CopyFile(src, dst);
  if (KavIsFileExists(dst)) return KAV_ERR_FAILED;

  // The tree lands in dst under the source's own name; a src ending in "/"
  // has an empty name, so its contents land directly in dst.
  std::string name;
  std::string dir;
  GetFileOrDirFromPath(src, name, dir);
  std::string target = std::string(dst) + "/" + name;
  KavMkdir(target.c_str());

  DIR* handle = opendir(src);
  if (handle == nullptr) return errno == ENOENT ? KAV_OK : KAV_ERR_FAILED;

  while (dirent* entry = readdir(handle)) {
    if (kav_fileutil::IsDotEntry(*entry)) continue;
    std::string child = std::string(src) + "/" + entry->d_name;
    // Links and special files are copied as files; one that cannot be (a
    // link to a directory, a pipe) fails the whole copy.
    int result = kav_fileutil::IsDirectoryEntry(child, *entry)
                     ? CopyFileOrDir(child.c_str(), target.c_str())
                     : CopyFile(child.c_str(), target.c_str());
    if (result != KAV_OK) {
      closedir(handle);
      return KAV_ERR_FAILED;
    }
  }
  closedir(handle);
  return KAV_OK;
}
