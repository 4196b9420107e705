#include "platform/ebase/book_tree.h"

#include <dirent.h>
#include <errno.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>

namespace kav_ebase {

namespace {

// Appends the entries of one directory: files to files, subdirectories to
// pending (both relative to bookDir). False when the directory cannot be read.
bool ReadOneDirectory(const std::string& bookDir, const std::string& relative,
                      std::vector<std::string>* files, std::vector<std::string>* pending) {
  const std::string dirPath = relative.empty() ? bookDir : bookDir + "/" + relative;
  // Closed on every way out, an out-of-memory exception included.
  const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(dirPath.c_str()), closedir);
  if (!dir) return false;
  bool ok = true;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(dir.get());
    if (entry == nullptr) {
      ok = errno == 0;  // nonzero errno: readdir itself failed
      break;
    }
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string child = relative.empty() ? name : relative + "/" + name;
    struct stat st;
    if (lstat((bookDir + "/" + child).c_str(), &st) != 0) {
      // A file removed while the walk runs is simply not part of the book.
      if (errno == ENOENT) continue;
      ok = false;
      break;
    }
    if (S_ISDIR(st.st_mode)) {
      pending->push_back(child);
    } else if (S_ISREG(st.st_mode)) {
      files->push_back(child);
    }
  }
  return ok;
}

}  // namespace

bool CollectBookFiles(const std::string& bookDir, std::vector<std::string>* files) {
  files->clear();
  // An explicit work list instead of recursion: a very deep tree cannot
  // exhaust the stack.
  std::vector<std::string> pending{""};
  while (!pending.empty()) {
    const std::string relative = pending.back();
    pending.pop_back();
    if (!ReadOneDirectory(bookDir, relative, files, &pending)) return false;
  }
  // std::string compares as unsigned bytes, so this is the order of the
  // paths' bytes and does not depend on the locale or the walk.
  std::sort(files->begin(), files->end());
  return true;
}

}  // namespace kav_ebase
