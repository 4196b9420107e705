#ifndef KAV_EPUB_PLATFORM_MOBI_KAV_MOBI_H_
#define KAV_EPUB_PLATFORM_MOBI_KAV_MOBI_H_

// libKav_Mobi: the MOBI reader. Every operation takes the record's handle
// first. Strings it returns are malloc'ed; the caller frees them.

#ifdef __cplusplus
extern "C" {
#endif

typedef struct TMobiService {
  void* handle;
  // Opens and reads the book; 0 on success, a nonzero code otherwise.
  int (*Open)(void* handle, const char* mobiPath);
  // Releases what Open acquired; called once before FreeMobiService, also
  // after a failed Open.
  void (*Close)(void* handle);
  // Writes the content as one HTML file at htmlPath, its pictures beside it
  // under the names its img elements use; 0 on success.
  int (*ExtractHtml)(void* handle, const char* htmlPath);
  // Title and author in UTF-8.
  char* (*GetTitle)(void* handle);
  char* (*GetAuthor)(void* handle);
  // The cover picture's file name relative to the HTML file's directory, or
  // null when the book has none.
  char* (*GetCoverImage)(void* handle);
} TMobiService;

__attribute__((visibility("default"))) TMobiService* CreateMobiService(void);
__attribute__((visibility("default"))) void FreeMobiService(TMobiService* service);

#ifdef __cplusplus
}
#endif

#endif  // KAV_EPUB_PLATFORM_MOBI_KAV_MOBI_H_
