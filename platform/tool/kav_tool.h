#ifndef KAV_EPUB_PLATFORM_TOOL_KAV_TOOL_H_
#define KAV_EPUB_PLATFORM_TOOL_KAV_TOOL_H_

// libKav_Tool: string and file-system helpers. Strings it returns are
// malloc'ed and released by the caller with free().

#ifdef __cplusplus
extern "C" {
#endif

#define KAV_TOOL_API __attribute__((visibility("default")))

// Nonzero when text is null or "".
KAV_TOOL_API int KavIsStrNullOrEmpty(const char* text);
// Nonzero when a file or directory (or anything else) exists at path.
KAV_TOOL_API int KavIsFileOrDirExists(const char* path);
// Nonzero only for an existing regular file; 0 for a directory.
KAV_TOOL_API int KavIsFileExists(const char* path);
// The directory that holds path, newly allocated: "a/b/c" -> "a/b",
// "c" -> ".", "/c" -> "/", "a/b/" -> "a/b". Null for a null path.
KAV_TOOL_API char* KavGetRunDirectory(const char* path);
// Creates one directory; 0 on success (callers may ignore it).
KAV_TOOL_API int KavMkdir(const char* path);
// Deletes a directory and everything below it without following symbolic
// links (a link is removed, never its target); 0 on success.
KAV_TOOL_API int KavDeleteDir(const char* path);
// The local time formatted with a strftime format into at most size - 1
// characters, newly allocated; null on failure. When SOURCE_DATE_EPOCH holds
// a non-negative integer, that instant in UTC is formatted instead.
KAV_TOOL_API char* KavGetLocalCurrentTime(const char* format, int size);

#ifdef __cplusplus
}
#endif

#endif  // KAV_EPUB_PLATFORM_TOOL_KAV_TOOL_H_
