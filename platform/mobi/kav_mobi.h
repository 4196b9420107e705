#ifndef KAV_EPUB_PLATFORM_MOBI_KAV_MOBI_H_
#define KAV_EPUB_PLATFORM_MOBI_KAV_MOBI_H_

// libKav_Mobi: the MOBI reader. Every operation takes the record's handle
// first. Strings it returns are malloc'ed; the caller frees them.

// Result codes of the reader (0 is success).
#define KAV_MOBI_ERR_ARGUMENT 620   // a path argument is null or empty
#define KAV_MOBI_ERR_NOT_FOUND 621  // no readable regular file at the book's path
#define KAV_MOBI_ERR_NOT_MOBI 622   // the file is not a MOBI book, or of a kind not supported
#define KAV_MOBI_ERR_DAMAGED 623    // the book is truncated or its records are damaged
#define KAV_MOBI_ERR_ENCRYPTED 624  // the book is protected by DRM (reported by Open)
#define KAV_MOBI_ERR_WRITE 625      // an output file could not be written
#define KAV_MOBI_ERR_NOT_OPEN 626   // no book is open
#define KAV_MOBI_ERR_NO_MEMORY 627  // out of memory
#define KAV_MOBI_ERR_NO_TEXT 628    // the book holds no readable text

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
// The language the open book declares (EXTH 524, else its header's locale),
// as libmobi spells it ("en-us"), malloc'ed; null when it declares none or
// no book is open. Not a slot of the record, which keeps its layout.
__attribute__((visibility("default"))) char* KavMobiGetLanguage(TMobiService* service);

#ifdef __cplusplus
}
#endif

#endif  // KAV_EPUB_PLATFORM_MOBI_KAV_MOBI_H_
