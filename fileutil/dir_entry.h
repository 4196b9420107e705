#ifndef KAV_EPUB_FILEUTIL_DIR_ENTRY_H_
#define KAV_EPUB_FILEUTIL_DIR_ENTRY_H_

#include <dirent.h>

#include <string>

namespace kav_fileutil {

// Whether the entry read from the directory at path is itself a directory.
// A symbolic link never counts, even when it points at a directory, so a
// walk never leaves the tree it was given.
bool IsDirectoryEntry(const std::string& path, const dirent& entry);

// "." and "..", which every walk skips.
bool IsDotEntry(const dirent& entry);

}  // namespace kav_fileutil

#endif  // KAV_EPUB_FILEUTIL_DIR_ENTRY_H_
