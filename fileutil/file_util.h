#ifndef KAV_EPUB_FILEUTIL_FILE_UTIL_H_
#define KAV_EPUB_FILEUTIL_FILE_UTIL_H_

#include <string>

#include "service/kav_export.h"

// Copies the regular file src to dst; when dst is a directory the copy keeps
// src's name inside it. 0, 402 (bad arguments or src not a regular file),
// 404 (open failed) or 412 (neither dst nor its directory exists).
KAV_EXPORT int CopyFile(const char* src, const char* dst);

// Splits path at its last "/" (or, when it has none, its last "\") into the
// part after it (name) and the part before it (dir). A path without either
// is all name with an empty dir. A null or empty path leaves both unchanged.
KAV_EXPORT void GetFileOrDirFromPath(const char* path, std::string& name, std::string& dir);

// Called before a file is opened for writing; deliberately does nothing.
KAV_EXPORT void CreateFile(const char* path);

// Copies a file, or a directory tree as dst/<name of src>, into the existing
// dst. 0, -1 or CopyFile's code.
KAV_EXPORT int CopyFileOrDir(const char* src, const char* dst);

// Moves the contents of src into dst (made when only its own level is
// missing) and deletes src. 0 or -1.
KAV_EXPORT int MoveDir(const char* src, const char* dst);

#endif  // KAV_EPUB_FILEUTIL_FILE_UTIL_H_
