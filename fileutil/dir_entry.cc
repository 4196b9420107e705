#include "fileutil/dir_entry.h"

#include <string.h>
#include <sys/stat.h>

namespace kav_fileutil {

bool IsDirectoryEntry(const std::string& path, const dirent& entry) {
  if (entry.d_type == DT_DIR) return true;
  if (entry.d_type != DT_UNKNOWN) return false;
  // Some file systems do not fill in the type; lstat, unlike stat, answers
  // for a link itself rather than for what it points at.
  struct stat st;
  return lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsDotEntry(const dirent& entry) {
  return strcmp(entry.d_name, ".") == 0 || strcmp(entry.d_name, "..") == 0;
}

}  // namespace kav_fileutil
