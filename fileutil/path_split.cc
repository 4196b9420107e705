#include <string.h>

#include <string>

#include "fileutil/file_util.h"
#include "platform/tool/kav_tool.h"

void GetFileOrDirFromPath(const char* path, std::string& name, std::string& dir) {
  if (KavIsStrNullOrEmpty(path)) return;

  // The backslash counts only in a path that holds no "/" at all.
  const char* separator = strrchr(path, '/');
  if (separator == nullptr) separator = strrchr(path, '\\');

  if (separator == nullptr) {
    name = path;
    dir.clear();
    return;
  }
  name.assign(separator + 1);
  dir.assign(path, static_cast<size_t>(separator - path));
}
