#ifndef KAV_EPUB_CLI_WORK_DIR_H_
#define KAV_EPUB_CLI_WORK_DIR_H_

#include <string>

namespace kavcli {

// A private working directory for one conversion (under $TMPDIR or /tmp),
// removed with everything in it when the object goes.
class WorkDir {
 public:
  WorkDir();
  ~WorkDir();
  WorkDir(const WorkDir&) = delete;
  WorkDir& operator=(const WorkDir&) = delete;

  bool ok() const { return !path_.empty(); }
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

// Removes the files of a directory whose names start as the last component
// of pathPrefix does ("out/b.epub.part-" removes "out/b.epub.part-1a-0").
void RemoveFilesStartingWith(const std::string& pathPrefix);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_WORK_DIR_H_
