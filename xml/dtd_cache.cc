#include "xml/dtd_cache.h"

#include <libxml/parser.h>
#include <sys/stat.h>

namespace kav_xml {
namespace {

// What identifies one version of a file.
struct FileVersion {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = -1;
  timespec modified{};

  bool operator==(const FileVersion& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
  }
};

// One entry per thread, so that no DTD is shared between threads: libxml2
// compiles content models into it during validation.
struct Entry {
  std::string path;
  FileVersion version;
  xmlDtd* dtd = nullptr;

  void Clear() {
    if (dtd != nullptr) xmlFreeDtd(dtd);
    dtd = nullptr;
    path.clear();
  }
  ~Entry() { Clear(); }
};

thread_local Entry t_entry;

}  // namespace

xmlDtd* CachedDtd(const std::string& path, const xmlChar* uri) {
  struct stat st;
  // Only a regular file can be known to be unchanged; anything else is
  // parsed afresh each time, and fails as it did.
  const bool known = stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
  const FileVersion version =
      known ? FileVersion{st.st_dev, st.st_ino, st.st_size, st.st_mtim} : FileVersion{};
  if (known && t_entry.dtd != nullptr && t_entry.path == path && t_entry.version == version) {
    return t_entry.dtd;
  }
  t_entry.Clear();
  t_entry.dtd = xmlParseDTD(nullptr, uri);
  if (known && t_entry.dtd != nullptr) {
    t_entry.path = path;
    t_entry.version = version;
  }
  return t_entry.dtd;
}

}  // namespace kav_xml
