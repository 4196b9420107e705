#include "cli/work_dir.h"

#include <dirent.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "platform/tool/kav_tool.h"

namespace kavcli {

WorkDir::WorkDir() {
  const char* base = getenv("TMPDIR");
  std::string pattern = std::string(KavIsStrNullOrEmpty(base) ? "/tmp" : base) + "/kav-epub-XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (mkdtemp(buffer.data()) != nullptr) path_ = buffer.data();
}

WorkDir::~WorkDir() {
  if (ok()) KavDeleteDir(path_.c_str());
}

void RemoveFilesStartingWith(const std::string& pathPrefix) {
  const size_t slash = pathPrefix.rfind('/');
  const std::string dir = slash == std::string::npos ? "." : pathPrefix.substr(0, slash + 1);
  const std::string stem = slash == std::string::npos ? pathPrefix : pathPrefix.substr(slash + 1);
  DIR* listing = stem.empty() ? nullptr : opendir(dir.c_str());
  if (listing == nullptr) return;
  while (dirent* entry = readdir(listing)) {
    if (strncmp(entry->d_name, stem.c_str(), stem.size()) == 0) {
      unlink((dir + entry->d_name).c_str());
    }
  }
  closedir(listing);
}

}  // namespace kavcli
