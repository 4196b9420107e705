#include "cli/work_dir.h"

#include <stdlib.h>

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

}  // namespace kavcli
